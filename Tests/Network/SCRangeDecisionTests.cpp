#include <gmock/gmock.h>

#include "SCRangeDecision.h"

using namespace std::string_literals;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST(SCRangeDecision, asksForTheRestUnderTheStrongestCondition) {
  EXPECT_THAT(SCRangeDecision::requestFields(0, SCValidator{"\"a\"", ""}), IsEmpty());
  EXPECT_THAT(SCRangeDecision::requestFields(1000, std::nullopt), ElementsAre("Range: bytes=1000-"));
  EXPECT_THAT(SCRangeDecision::requestFields(7, SCValidator{"\"a\"", ""}),
              ElementsAre("Range: bytes=7-", "If-Range: \"a\""));
  EXPECT_THAT(SCRangeDecision::requestFields(7, SCValidator{"", kDate}),
              ElementsAre("Range: bytes=7-", std::string("If-Range: ") + kDate));
}

TEST(SCRangeDecision, everyAnswerToAPlainOrARangeRequest) {
  using enum SCRangeDecision::Action;
  struct Case {
    const char* what;
    std::int64_t offset;
    std::vector<std::string> lines;
    SCRangeDecision::Action action;
    std::optional<std::int64_t> completeLength = {};
  };
  const std::string whole = "HTTP/1.1 200 OK";
  const std::string part = "HTTP/1.1 206 P";
  const std::string rest = "Content-Range: bytes 1000-4999/5000";
  const std::string several = "Content-Type: multipart/byteranges; boundary=x";
  const Case cases[] = {
      {"whole", 0, {whole, "content-length: 5000"}, StoreFromZero, 5000},
      {"whole, length not told", 0, {"HTTP/2 200"}, StoreFromZero},
      {"chunked", 0, {whole, "Content-Length: 9", "Transfer-Encoding: chunked"}, StoreFromZero},
      {"whole in place of the rest", 1000, {whole, "Content-Length: 9"}, StoreFromZero, 9},
      {"the rest", 1000, {part, rest, "Content-Length: 4000"}, Append, 5000},
      {"the rest, total unknown", 1000, {part, "Content-Range: Bytes 1000-4999/*"}, Append, 5000},
      {"a piece of the rest", 1000, {part, "Content-Range: bytes 1000-1999/5000"}, Append, 5000},
      {"same tag", 1000, {part, rest, "ETag: \"v1\""}, Append, 5000},
      {"another tag", 1000, {part, rest, "ETag: \"v2\""}, StartOver},
      {"wrong offset", 1000, {part, "Content-Range: bytes 999-4999/5000"}, StartOver},
      {"no range told", 1000, {part, "Content-Length: 4000"}, StartOver},
      {"length against range", 1000, {part, rest, "Content-Length: 1"}, StartOver},
      {"several parts", 1000, {part, rest, several}, StartOver},
      {"part of what was not asked in parts", 0, {part, "Content-Range: bytes 0-9/10"}, RefuseAnswer},
      {"nothing left", 5000, {"HTTP/1.1 416 R", "Content-Range: bytes */5000"}, AlreadyComplete, 5000},
      {"shorter there", 5000, {"HTTP/1.1 416 R", "Content-Range: bytes */4999"}, StartOver},
      {"nothing left, length not told", 5000, {"HTTP/1.1 416 R"}, StartOver},
      {"no range asked", 0, {"HTTP/1.1 416 R", "Content-Range: bytes */0"}, RefuseStatus},
      {"missing", 1000, {"HTTP/1.1 404 N", "Content-Length: 9"}, RefuseStatus},
      {"not modified", 0, {"HTTP/1.1 304 N"}, RefuseStatus},
      {"coded", 0, {whole, "Content-Encoding: gzip"}, RefuseAnswer},
      {"coded by itself", 0, {whole, "Content-Encoding: Identity"}, StoreFromZero},
      {"no content", 0, {"HTTP/1.1 204 N"}, RefuseAnswer},
      {"after an interim answer", 0, {"HTTP/1.1 103 E", "Content-Length: 1", "", whole}, StoreFromZero},
  };
  const SCValidator known{"\"v1\"", ""};
  for (const Case& one : cases) {
    const SCRangeDecision decision = SCRangeDecision::decide(one.offset, known, headOf(one.lines));
    EXPECT_EQ(decision.action, one.action) << one.what;
    if (one.action == Append || one.action == StoreFromZero) {
      EXPECT_EQ(decision.completeLength, one.completeLength) << one.what;
    }
  }
}

TEST(SCContentRange, isReadStrictly) {
  const auto whole = SCContentRange::parse("bytes 0-0/1");
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->first, 0);
  EXPECT_EQ(whole->last, 0);
  EXPECT_EQ(whole->total, 1);
  for (const char* text : {"", "bytes", "bytes ", "bytes */*", "bytes 5-4/9", "bytes 0-9/9", "bytes -1-2/9",
                           "bytes 1-/9", "bytes 1-2", "bytes 1-2/", "bytes 1-2/9x", "bytes=1-2/9", "items 1-2/9",
                           "bytes 1 -2/9", "bytes 99999999999999999999-2/9", "bytes 0-1/9, bytes 3-4/9"}) {
    EXPECT_FALSE(SCContentRange::parse(text)) << text;
  }
}

TEST(SCValidator, aWeakTagIsNone) {
  const std::string dateLine = std::string("Last-Modified: ") + kDate;
  const auto strong = SCValidator::fromAnswer(headOf({"HTTP/1.1 200 OK", "ETag: \"a b\"", "ETag: \"x\"", dateLine}));
  EXPECT_EQ(strong, (SCValidator{"\"x\"", ""}));
  const auto dated = SCValidator::fromAnswer(headOf({"HTTP/1.1 200 OK", "ETag: W/\"x\"", dateLine}));
  EXPECT_EQ(dated, (SCValidator{"", kDate}));
  EXPECT_FALSE(SCValidator::fromAnswer(headOf({"HTTP/1.1 200 OK", "ETag: x", "Last-Modified: yesterday"})));
}

TEST(SCValidator, survivesItsFileAndNothingElseDoes) {
  for (const SCValidator& validator : {SCValidator{"\"a/ü\"", ""}, SCValidator{"", kDate}}) {
    EXPECT_EQ(SCValidator::fromFile(validator.fileText()), validator);
  }
  for (const std::string& text :
       {""s, "\n"s, "ETag: \"a\""s, "ETag: \"a\n"s, "ETag: W/\"a\"\n"s, "ETag: \"a\"\r\nX: y\"\n"s,
        "Last-Modified: now\n"s, "ETag: \"a\0\"\n"s, std::string(3000, 'x') + "\n"}) {
    EXPECT_FALSE(SCValidator::fromFile(text)) << text;
  }
}
