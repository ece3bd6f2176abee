#include <cerrno>
#include <cstring>
#include <functional>

#include <sys/stat.h>

#include "NetworkFixture.h"
#include "SCFailure.h"
#include "SCSideName.h"
#include "SCTransfer.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

class SCNetworkDownloadApiTest : public NetworkFixture {
 protected:
  /// The reason of an unusable file; empty for every other end.
  static std::string fileFailure(const Outcome& outcome) {
    const auto code = static_cast<std::int64_t>(ZRErrorCode::ResourceUnusable);
    return outcome.codeIn(kZRErrorDomain) == code ? outcome.err->userInfo()["reason"].textValue().value_or("") : "";
  }
};

}  // namespace

TEST_F(SCNetworkDownloadApiTest, aWholeBodyBecomesTheFileAndEveryByteIsTold) {
  const std::string large = patternBytes(5'000'123);
  origin_.serveFile("/large", {.bytes = large});
  origin_.serve("/empty", "");
  serveRaw("/untold", "HTTP/1.1 200 OK\r\n\r\n" + body_);
  const std::tuple<const char*, std::string, std::int64_t> cases[] = {
      {"/large", large, 5'000'123}, {"/empty", "", 0}, {"/untold", body_, 0}};
  for (const auto& [path, bytes, expected] : cases) {
    for (const bool resume : {false, true}) {
      SCOPED_TRACE(path);
      std::filesystem::remove(file_);
      if (!resume) writeFile(file_, old_);
      const Outcome outcome = run(download(origin_.url(path), resume));
      EXPECT_FALSE(outcome.err);
      EXPECT_EQ(outcome.status, 200);
      EXPECT_EQ(readFile(file_), bytes);
      EXPECT_EQ(outcome.chunks, static_cast<std::int64_t>(bytes.size()));
      EXPECT_EQ(outcome.received, static_cast<std::int64_t>(bytes.size()));
      EXPECT_EQ(outcome.expected, expected);
      const std::string version = readFile(versionFile_);
      EXPECT_EQ(version, resume ? "Length: " + std::to_string(bytes.size()) + "\n" : "")
          << "is kept until it is forgotten";
      SCNetworkDownloadApi::forgetVersion(file_);
      EXPECT_THAT(files(), ElementsAre("v.mp4"));
    }
  }
}

TEST_F(SCNetworkDownloadApiTest, goesOnWhereItMayAndStartsOverWhereItMayNot) {
  origin_.serveFile("/v1", {.bytes = body_, .etag = "\"v1\""});
  origin_.serveFile("/v2", {.bytes = body_, .etag = "\"v2\""});
  const std::string port = origin_.url("").substr(origin_.url("").rfind(':'));
  origin_.redirect("/elsewhere", "http://localhost" + port + "/v1");
  // A server that knows nothing of If-Range shows by its tag that the rest belongs to another file.
  origin_.route("/careless", [&](OriginRequest request, OriginConnection& out) {
    std::erase_if(request.headers, [](const auto& field) { return field.first == "If-Range"; });
    out.respondFile(request, {.bytes = body_, .etag = "\"v2\""});
  });
  // One that tells the length of the rest, but not that it is all of it.
  origin_.route("/piecewise", [&](const OriginRequest& request, OriginConnection& out) {
    if (request.header("Range") != "bytes=1000-") return out.respondFile(request, {.bytes = body_, .etag = "\"v1\""});
    out.respond(206, body_.substr(1000, 1000), {{"Content-Range", "bytes 1000-1999/*"}, {"ETag", "\"v1\""}});
  });
  struct Case {
    const char* path;
    std::string stored;
    const char* version;
    int status;
    std::int64_t chunks;
    std::vector<std::string> asked;  // Range and If-Range of each request
  };
  const std::string part = body_.substr(0, 1000);
  const char* const tag1 = "ETag: \"v1\"\nLength: 5000\n";
  const Case cases[] = {
      {"/v1", part, tag1, 206, 4000, {"bytes=1000- \"v1\""}},
      {"/elsewhere", part, tag1, 206, 4000, {"bytes=1000- \"v1\"", "bytes=1000- \"v1\""}},
      {"/piecewise", part, tag1, 206, 4000, {"bytes=1000- \"v1\"", "bytes=2000- \"v1\""}},
      {"/v1", body_, tag1, 416, 0, {"bytes=5000- \"v1\""}},
      {"/v2", old_, tag1, 200, 5000, {"bytes=1000- \"v1\""}},
      {"/careless", old_, tag1, 200, 5000, {"bytes=1000- \"v1\"", "- -"}},
      {"/v1", old_, nullptr, 200, 5000, {"- -"}},
      {"/v1", old_, "ETag: \"v1\"\nLength: 50", 200, 5000, {"- -"}},
  };
  for (const auto& [path, stored, version, status, chunks, asked] : cases) {
    SCOPED_TRACE(path);
    writeFile(file_, stored);
    std::filesystem::remove(versionFile_);
    if (version) writeFile(versionFile_, version);
    const std::size_t before = origin_.requests().size();
    const Outcome outcome = run(download(origin_.url(path), true));
    EXPECT_FALSE(outcome.err);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.chunks, chunks);
    EXPECT_EQ(outcome.received, 5000);
    EXPECT_EQ(outcome.expected, 5000);
    EXPECT_EQ(readFile(file_), body_);
    EXPECT_THAT(files(), ElementsAre(".v.mp4.resume", "v.mp4"));
    EXPECT_THAT(readFile(versionFile_), EndsWith("Length: 5000\n"));
    std::vector<std::string> sent;
    for (const OriginRequest& request : origin_.requests()) {
      sent.push_back(request.header("Range").value_or("-") + " " + request.header("If-Range").value_or("-"));
    }
    EXPECT_EQ(std::vector(sent.begin() + static_cast<std::ptrdiff_t>(before), sent.end()), asked);
  }
  // A server that refuses the whole file as well is not asked a third time.
  origin_.serve("/never", "", 416);
  EXPECT_EQ(run(download(origin_.url("/never"), true)).refusedStatus(), 416);
  EXPECT_EQ(origin_.requestsTo("/never").size(), 2U);
}

TEST_F(SCNetworkDownloadApiTest, anEarlyEndKeepsThePartForTheNextTry) {
  serveRaw("/v", OriginConnection::head(5000) + body_.substr(0, 2000));
  const Outcome first = run(download(origin_.url("/v"), true));
  EXPECT_EQ(first.code(), Code::NetworkConnectionLost);
  EXPECT_EQ(first.chunks, 2000);
  EXPECT_EQ(readFile(file_), body_.substr(0, 2000));
  EXPECT_THAT(files(), ElementsAre(".v.mp4.resume", "v.mp4"));

  const std::string piece =
      "HTTP/1.1 206 Part\r\nContent-Range: bytes 2000-2015/5000\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (const auto& [size, kept] : {std::pair("f\r\n", 15), std::pair("11\r\n", 0)}) {
    serveRaw("/v", piece + size + body_.substr(2000, 15) + (kept > 0 ? "" : "xx") + "\r\n0\r\n\r\n");
    const Outcome broken = run(download(origin_.url("/v"), true));
    EXPECT_EQ(broken.code(), Code::NetworkConnectionLost) << "less or more than the range";
    EXPECT_EQ(readFile(file_), body_.substr(0, 2000 + static_cast<std::size_t>(kept)));
    std::filesystem::resize_file(file_, 2000);
  }
}

TEST_F(SCNetworkDownloadApiTest, aBrokenAnswerIsALostConnectionAndLeavesNoFile) {
  limits_.stallTimeout = 150ms;
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string part = OriginConnection::head(5000) + body_.substr(0, 2000);
  using Out = OriginConnection;
  for (const auto& [answer, then, status] : {std::tuple(part, &Out::close, 200),
                                             {part, &Out::reset, 200},
                                             {part, &Out::stall, 200},
                                             {"", &Out::close, 0},
                                             {"", &Out::stall, 0},
                                             {"what?\r\n\r\n", &Out::close, 0},
                                             {ok + "Content-Le", &Out::close, 200},
                                             {ok + "Content-Length: x\r\n\r\n", &Out::close, 200},
                                             {ok + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", &Out::close, 200},
                                             {ok + "Transfer-Encoding: chunked\r\n\r\n10\r\n01", &Out::close, 200},
                                             {ok + "Content-Length: 9\r\n" + part.substr(17), &Out::close, 200},
                                             {"HTTP/1.1 103 Early Hints\r\n\r\n", &Out::stall, 0}}) {
    SCOPED_TRACE(answer.substr(0, 60));
    serveRaw("/v", answer, then);
    const Outcome outcome = run(download(origin_.url("/v")));
    EXPECT_EQ(outcome.code(), Code::NetworkConnectionLost);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(run(plain(origin_.url("/v"))).code(), Code::NetworkConnectionLost);
    EXPECT_THAT(files(), IsEmpty());
  }
}

TEST_F(SCNetworkDownloadApiTest, aHeadHasOneDeadlineHoweverItDribblesIn) {
  const auto request = plain("http://localhost/");
  const auto ticket = std::make_shared<SCTransferTicket>(request, *loop_, std::weak_ptr<SCTicketOwner>());
  SCBufferPool pool;
  ZRBackgroundQueue parsing;
  SCTransfer transfer(SCTransferSpec::of(*request), ticket, limits_, pool, parsing);
  const SCTransfer::Clock::time_point start{};
  ASSERT_TRUE(transfer.begin(start));
  transfer.connected(start);
  for (const char* line : {"HTTP/1.1 103 Early Hints\r\n", "\r\n", "HTTP/1.1 200 OK\r\n"}) {
    EXPECT_TRUE(transfer.receiveHeadLine(line, start + 1s));
  }
  EXPECT_EQ(transfer.nextDeadline(), start + limits_.stallTimeout);
  EXPECT_TRUE(transfer.receiveHeadLine("\r\n", start + 1s));
  EXPECT_EQ(transfer.nextDeadline(), start + 1s + limits_.stallTimeout);
}

TEST_F(SCNetworkDownloadApiTest, answersThatAreNotTheFileLeaveFilesUntouched) {
  writeFile(file_, old_);
  const auto parsed = plain(origin_.url("/404"));
  parsed->setResponseParser(std::make_shared<SCNetworkJsonResponseParser>());
  for (const int status : {404, 500, 302}) {
    origin_.serve("/v", R"({"status": 200})", status);
    for (const bool resume : {false, true}) {
      const Outcome outcome = run(download(origin_.url("/v"), resume));
      EXPECT_EQ(outcome.refusedStatus(), status);
      EXPECT_EQ(outcome.status, status);
      EXPECT_EQ(readFile(file_), old_);
    }
  }
  origin_.serve("/404", R"({"status": 200})", 404);
  EXPECT_TRUE(run(parsed).result.value.isAbsent()) << "it is not parsed";
  // A part that nobody asked for, and a coding of the file in place of the file.
  origin_.serve("/206", body_, 206, {{"Content-Range", "bytes 0-4999/9000"}});
  origin_.serve("/gzip", body_, 200, {{"Content-Encoding", "gzip"}});
  for (const char* path : {"/206", "/gzip"}) {
    EXPECT_EQ(run(download(origin_.url(path))).code(), Code::NetworkConnectionLost) << path;
    EXPECT_EQ(readFile(file_), old_);
  }
  EXPECT_EQ(run(plain(origin_.url("/206"))).code(), Code::NetworkConnectionLost);
  EXPECT_EQ(origin_.requestsTo("/gzip")[0].header("Accept-Encoding"), "identity");
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, cancelCallsNoHandlerAndLeavesAPartOnlyForAResume) {
  serveInTwo("/v", gate_, body_);
  for (const bool resume : {false, true}) {
    const auto request = download(origin_.url("/v"), resume);
    const Recorded outcome = start(request);
    ASSERT_TRUE(runUntil([&] { return outcome->chunks == 1000; }));
    EXPECT_EQ(readFile(resume ? file_ : folder_ / ".v.mp4.part"), body_.substr(0, 1000));
    request->cancel();
    request->cancel();
    if (!resume) settle();
    EXPECT_EQ(files().empty(), !resume);
    EXPECT_EQ(outcome->ends, 0);
    EXPECT_EQ(outcome.use_count(), 1) << "the handlers are dropped";
  }
  const Outcome second = run(download(origin_.url("/v"), true));  // at once: the calls keep their order
  EXPECT_FALSE(second.err);
  EXPECT_EQ(second.chunks, 4000);
  EXPECT_EQ(readFile(file_), body_);
}

// Two agents share nothing but the folder, as two processes do.
TEST_F(SCNetworkDownloadApiTest, whatAnotherOneWritesIsLeftAlone) {
  origin_.serve("/v", old_);
  serveInTwo("/false", gate_, body_);
  serveInTwo("/true", laterGate_, body_);
  for (const bool resume : {false, true}) {
    const Recorded first = start(download(origin_.url(resume ? "/true" : "/false"), resume));
    ASSERT_TRUE(runUntil([&] { return first->chunks == 1000; }));
    const auto agent = std::exchange(agent_, nullptr);
    const Outcome second = run(download(origin_.url("/v"), resume));
    EXPECT_EQ(fileFailure(second), "fileBusy");
    (resume ? laterGate_ : gate_).open();
    EXPECT_FALSE(finish(first).err);
    EXPECT_EQ(readFile(file_), body_);
    std::filesystem::remove(file_);
  }
}

TEST_F(SCNetworkDownloadApiTest, whatBecomesOfTheFilesNameMeanwhileIsRefused) {
  serveLater("/v", gate_);
  serveInTwo("/two", gate_, body_);
  const auto startAs = [this](const char* name, const char* path, bool resume) {
    const auto request = download(origin_.url(path), resume);
    request->setDownloadFilePath(folder_ / name);
    return start(request);
  };
  const Recorded removed = startAs("removed", "/two", true);
  ASSERT_TRUE(runUntil([&] { return removed->chunks == 1000; }));
  const Recorded ends[] = {startAs("folder", "/v", false), startAs("link", "/v", true), startAs("file", "/v", true),
                           removed};
  ASSERT_TRUE(origin_.waitForRequests(4));
  writeFile(folder_ / "outside", old_);
  std::filesystem::create_directory(folder_ / "folder");
  std::filesystem::create_symlink(folder_ / "outside", folder_ / "link");
  writeFile(folder_ / "file", old_);
  std::filesystem::remove(folder_ / "removed");
  gate_.open();
  for (const Recorded& end : ends) EXPECT_EQ(fileFailure(finish(end)), "fileFailure");
  EXPECT_EQ(readFile(folder_ / "outside"), old_);
  EXPECT_EQ(readFile(folder_ / "file"), old_);
  EXPECT_THAT(files(), ElementsAre(".removed.resume", "file", "folder", "link", "outside"));
}

TEST_F(SCNetworkDownloadApiTest, whatCannotBeStoredIsRefusedAndNotAskedFor) {
  const auto failureFor = [&](const std::string& path, bool resume) {
    const auto request = download(origin_.url("/v"), resume);
    request->setDownloadFilePath(path);
    return fileFailure(run(request));
  };
  writeFile(folder_ / "outside", old_);
  std::filesystem::create_symlink(folder_ / "outside", folder_ / "link");
  std::filesystem::create_directory(folder_ / "folder");
  ASSERT_EQ(::mkfifo((folder_ / "fifo").c_str(), 0600), 0);
  const auto before = files();
  for (const bool resume : {false, true}) {
    for (const std::string& path :
         {folder_ / "link", folder_ / "folder", folder_ / "fifo", folder_ / "missing/v.mp4", std::string(),
          std::string("v.mp4"), folder_ / "", folder_ / "..", folder_ / std::string_view("a\0b", 3)}) {
      EXPECT_EQ(failureFor(path, resume), "fileFailure") << path;
    }
  }
  EXPECT_EQ(readFile(folder_ / "outside"), old_);
  EXPECT_EQ(files(), before);
  EXPECT_TRUE(origin_.requests().empty());
}

TEST_F(SCNetworkDownloadApiTest, whatStandsAtAHelpersNameIsNotFollowedAndCostsNoDownload) {
  origin_.serveFile("/v", {.bytes = body_, .etag = "\"v1\""});
  writeFile(folder_ / "outside", "ETag: \"v1\"\nLength: 5000\n");
  writeFile(folder_ / "twin", old_);
  const auto outside = readFile(folder_ / "outside");
  const std::function<void(const std::string&)> obstacles[] = {
      [](const std::string& name) { writeFile(name, "leftover"); },
      [](const std::string& name) { std::filesystem::create_directory(name); },
      [](const std::string& name) { ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0); },
      [this](const std::string& name) { std::filesystem::create_symlink(folder_ / "outside", name); },
      [](const std::string& name) { ASSERT_EQ(::mknod(name.c_str(), S_IFSOCK | 0600, 0), 0); },
      [this](const std::string& name) { std::filesystem::create_hard_link(folder_ / "twin", name); },
  };
  const std::string longest(255, 'x');
  for (const std::string& name : {std::string("v.mp4"), longest.substr(9), longest.substr(8), longest}) {
    for (const std::string& helper :
         {SCSideName::part(name), SCSideName::version(name), SCSideName::versionDraft(name)}) {
      for (const auto& makeObstacle : obstacles) {
        SCOPED_TRACE(helper);
        writeFile(folder_ / name, old_);
        writeFile(folder_ / SCSideName::version(name), "ETag: \"v0\"\nLength: 5000\n");
        std::filesystem::remove(folder_ / helper);
        makeObstacle(folder_ / helper);
        const bool resume = helper != SCSideName::part(name);
        const auto request = download(origin_.url("/v"), resume);
        request->setDownloadFilePath(folder_ / name);
        EXPECT_FALSE(run(request).err);
        EXPECT_EQ(readFile(folder_ / name), body_);
        EXPECT_EQ(readFile(folder_ / "outside"), outside);
        EXPECT_EQ(readFile(folder_ / "twin"), old_);
        if (helper == SCSideName::versionDraft(name)) {
          const bool isFree = !std::filesystem::is_directory(folder_ / helper);
          EXPECT_EQ(readFile(folder_ / SCSideName::version(name)), isFree ? outside : "") << "no other bytes' version";
        }
        for (const std::string& left : files()) {
          if (left != "outside" && left != "twin") std::filesystem::remove(folder_ / left);
        }
      }
    }
  }
}

TEST_F(SCNetworkDownloadApiTest, aSlowBodyIsWrittenAndToldInItsFolderWhereverThatGoes) {
  serveInTwo("/false", gate_, body_);
  serveInTwo("/true", laterGate_, body_);
  for (const bool resume : {false, true}) {
    std::filesystem::create_directory(folder_ / "task");
    const auto request = download(origin_.url(resume ? "/true" : "/false"), resume);
    request->setDownloadFilePath(folder_ / "task/v.mp4");
    const Recorded outcome = start(request);
    ASSERT_TRUE(runUntil([&] { return outcome->chunks == 1000; }));
    EXPECT_EQ(outcome->expected, 5000);
    std::filesystem::rename(folder_ / "task", folder_ / "aside");
    std::filesystem::create_directory(folder_ / "task");
    (resume ? laterGate_ : gate_).open();
    EXPECT_FALSE(finish(outcome).err);
    EXPECT_EQ(outcome->chunks, 5000);
    EXPECT_EQ(readFile(folder_ / "aside/v.mp4"), body_);
    EXPECT_TRUE(std::filesystem::remove(folder_ / "task")) << "it is empty";
    std::filesystem::remove_all(folder_ / "aside");
  }
}

TEST(SCFailure, aFullDiskIsTheLibrarysOwnError) {
  for (const int error : {ENOSPC, EDQUOT}) {
    EXPECT_EQ(SCFailure::file("write", error), ZRError(ZRErrorCode::DiskFull, "磁盘空间不足"));
  }
  const ZRError failure = SCFailure::file("write", EIO);
  EXPECT_EQ(failure.code(), static_cast<std::int64_t>(ZRErrorCode::ResourceUnusable));
  EXPECT_EQ(failure.userInfo()["cause"].textValue(), std::string("write: ") + std::strerror(EIO));
}
