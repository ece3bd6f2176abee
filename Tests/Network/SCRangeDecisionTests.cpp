#include <gmock/gmock.h>

#include "SCRangeDecision.h"

using namespace std::string_literals;

namespace {

constexpr const char* kDate = "Tue, 15 Nov 1994 12:45:26 GMT";

SCAnswerHead headOf(const std::vector<std::string>& lines) {
  SCAnswerHead head;
  bool ended = false;
  for (const std::string& line : lines) ended = head.addLine(line + "\r\n");
  EXPECT_FALSE(ended);
  EXPECT_EQ(head.addLine("\r\n"), head.status >= 200);
  return head;
}

}  // namespace

TEST(SCRangeDecision, everyAnswerToAPlainOrARangeRequest) {
  using enum SCRangeDecision::Action;
  struct Case {
    const char* what;
    std::string known;  // what is kept beside the bytes
    std::int64_t offset;
    std::vector<std::string> lines;
    SCRangeDecision::Action action;
    std::string version = {};  // of the bytes that are stored then
    std::int64_t bodyEnd = -1;
  };
  const std::string whole = "HTTP/1.1 200 OK";
  const std::string part = "HTTP/1.1 206 P";
  const std::string none = "HTTP/1.1 416 R";
  const std::string rest = "Content-Range: bytes 1000-4999/5000";
  const std::string piece = "Content-Range: bytes 1000-1999/*";
  const std::string nothing = "Content-Range: bytes */5000";
  const std::string several = "Content-Type: MultiPart/byteranges; boundary=x";
  const std::string date = "Last-Modified: "s + kDate;
  const std::string strong = "ETag: \"v1\"\nLength: 5000\n";
  const std::string open = "ETag: \"v1\"\nLength: *\n";
  const std::string weak = "ETag: W/\"v1\"\nLength: 5000\n";
  const std::string weakOpen = "ETag: W/\"v1\"\nLength: *\n";
  const std::string dated = date + "\nLength: 5000\n";
  const std::string justDated = "Last-Modified: W/"s + kDate + "\nLength: 5000\n";
  const std::string sized = "Length: 5000\n";
  const Case cases[] = {
      {"whole", "", 0, {whole, "content-length: 5000"}, StoreFromZero, sized, 5000},
      {"whole, length not told", "", 0, {"HTTP/2 200", "ETag: \"v1\""}, StoreFromZero, open},
      {"a line like a status", "", 0, {whole, "HTTP/1.1 404 N", "Content-Length: 9"}, StoreFromZero, "Length: 9\n", 9},
      {"after an interim answer", "", 0, {"HTTP/1.1 103 E", "Content-Length: 1", "", whole}, StoreFromZero},
      {"a piece of what is unknown", open, 1000, {part, piece}, Append, open, 2000},
      {"a piece of another length", strong, 1000, {part, "Content-Range: bytes 1000-5000/*"}, StartOver},
      {"another length", strong, 1000, {part, "Content-Range: bytes 1000-4999/6000"}, StartOver},
      {"the same weak tag", weak, 1000, {part, rest, "ETag: W/\"v1\""}, Append, weak, 5000},
      {"no weak tag any more", weak, 1000, {part, rest}, StartOver},
      {"under a date", dated, 1000, {part, rest}, Append, dated, 5000},
      {"the same weak date", justDated, 1000, {part, rest, date}, Append, justDated, 5000},
      {"another date", dated, 1000, {part, rest, "Last-Modified: Tue, 15 Nov 1994 12:45:27 GMT"}, StartOver},
      {"the same length", sized, 1000, {part, rest}, Append, sized, 5000},
      {"the length not told again", sized, 1000, {part, piece}, StartOver},
      {"tagged by now", sized, 1000, {part, rest, "ETag: \"v1\""}, StartOver},
      {"of an unknown version", "", 1000, {part, rest}, StartOver},
      {"wrong offset", strong, 1000, {part, "Content-Range: bytes 999-4999/5000"}, StartOver},
      {"no range told", strong, 1000, {part, "Content-Length: 4000"}, StartOver},
      {"length against range", strong, 1000, {part, rest, "Content-Length: 1"}, StartOver},
      {"several parts", strong, 1000, {part, rest, several}, StartOver},
      {"nothing left, same weak tag", weakOpen, 5000, {none, nothing, "ETag: W/\"v1\""}, AlreadyComplete, weak, 5000},
      {"nothing left, of something", weakOpen, 5000, {none, nothing}, StartOver},
      {"nothing left, another tag", strong, 5000, {none, nothing, "ETag: \"v2\""}, StartOver},
      {"nothing left, same length", sized, 5000, {none, nothing}, AlreadyComplete, sized, 5000},
      {"nothing left of an unknown version", "", 5000, {none, nothing}, StartOver},
      {"shorter by now", strong, 4999, {none, "Content-Range: bytes */4999"}, StartOver},
      {"nothing left, length not told", strong, 5000, {none}, StartOver},
      {"coded by itself", "", 0, {whole, "Content-Encoding: Identity"}, StoreFromZero},
      {"no content", "", 0, {"HTTP/1.1 204 N"}, RefuseAnswer},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    const auto decision = SCRangeDecision::decide(one.offset, SCVersion::fromFile(one.known), headOf(one.lines));
    EXPECT_EQ(decision.action, one.action);
    EXPECT_EQ(decision.version.isKnown() ? decision.version.fileText() : "", one.version);
    EXPECT_EQ(decision.bodyEnd.value_or(-1), one.bodyEnd);
  }
}

TEST(SCAnswerHead, lengthsThatContradictEachOtherAreUnsound) {
  const std::string status = "HTTP/1.1 200 OK";
  const std::string chunked = "Transfer-Encoding: chunked";
  for (const auto& [sound, lines] : std::vector<std::pair<bool, std::vector<std::string>>>{
           {true, {"Content-Length: 5", "Content-Length: 5, 5"}},
           {true, {"Content-Length: 5", chunked, "Content-Length: 6"}},
           {true, {"Content-Length: 5", "Content-Length: 6", chunked}},
           {false, {"Content-Length: 5", "Content-Length: 6"}},
           {false, {"Content-Length: 5, 6, 5"}},
           {false, {"Content-Length: 5", "Content-Length:"}},
           {false, {"Content-Length: five", "Content-Length: 5"}}}) {
    std::vector<std::string> head{status};
    head.insert(head.end(), lines.begin(), lines.end());
    EXPECT_EQ(headOf(head).isSound(), sound) << lines.back();
  }
}

TEST(SCContentRange, isReadStrictly) {
  EXPECT_EQ(SCContentRange::parse("bytes 0-0/1")->last, 0);
  for (const char* text : {"", "bytes", "bytes ", "bytes */*", "bytes 5-4/9", "bytes 0-9/9", "bytes -1-2/9",
                           "bytes 1-/9", "bytes 1-2", "bytes 1-2/", "bytes 1-2/9x", "bytes=1-2/9", "items 1-2/9",
                           "bytes 1 -2/9", "bytes 99999999999999999999-2/9", "bytes 0-1/9, bytes 3-4/9"}) {
    EXPECT_FALSE(SCContentRange::parse(text)) << text;
  }
}

TEST(SCVersion, isReadFromAnAnswerAndAskedForWhereItIsStrong) {
  struct Case {
    std::vector<std::string> lines;
    std::string text;
    std::string ifRange;
  };
  const std::string modified = "Last-Modified: "s + kDate;
  for (const Case& one : {Case{{"ETag: \"x\"", modified}, "ETag: \"x\"\nLast-Modified: W/"s + kDate + "\n", "\"x\""},
                          Case{{"ETag: W/\"x\""}, "ETag: W/\"x\"\n", ""},
                          Case{{"ETag: W/\"x\"", modified, "Date: Wed, 16 Nov 1994 12:45:26 GMT"},
                               "ETag: W/\"x\"\n"s + modified + "\n",
                               ""},
                          Case{{"ETag: \"a b\""}, "ETag: \"a b\"\n", ""}, Case{{"ETag: x"}, "ETag: x\n", ""},
                          Case{{modified, "Date: Tue, 15 Nov 1994 12:45:27 GMT"}, modified + "\n", kDate},
                          Case{{modified, "Date: "s + kDate}, "Last-Modified: W/"s + kDate + "\n", ""},
                          Case{{"Last-Modified: Tue, 31 Feb 1994 12:45:26 GMT"}, "", ""},
                          Case{{"ETag: "s + std::string(1025, 'x'), "Last-Modified: yesterday"}, "", ""}}) {
    std::vector<std::string> head{"HTTP/1.1 200 OK"};
    head.insert(head.end(), one.lines.begin(), one.lines.end());
    const SCVersion version = SCVersion::of(headOf(head), 7);
    EXPECT_EQ(version.fileText(), one.text + "Length: 7\n");
    EXPECT_EQ(version.ifRange(), one.ifRange) << one.text;
    EXPECT_EQ(SCVersion::fromFile(version.fileText()), version);
  }
  for (const std::string& text :
       {""s, "\n"s, "Length: \n"s, "Length: *\n"s, "Length: 5"s, "Length: -5\n"s, "Length: 5\n\n"s, "ETag: \"a\"\n"s,
        "ETag: \"a\0\"\nLength: 5\n"s, "X: y\nLength: 5\n"s, "Last-Modified: now\nLength: 5\n"s,
        std::string(3000, 'x') + "\n"}) {
    EXPECT_FALSE(SCVersion::fromFile(text).isKnown()) << text;
  }
}
