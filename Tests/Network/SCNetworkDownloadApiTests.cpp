#include <cerrno>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "NetworkFixture.h"
#include "SCFailure.h"
#include "SCNetworkDownloadApi.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SCNetworkDownloadApiTest : public NetworkFixture {};

}  // namespace

TEST_F(SCNetworkDownloadApiTest, storesALargeBodyAndTellsEveryByte) {
  const std::string large = patternBytes(5'000'123);
  origin_.serveFile("/v", {.bytes = large});
  writeFile(file_, old_);
  const Outcome outcome = run(download(origin_.url("/v")));
  EXPECT_FALSE(outcome.err);
  EXPECT_EQ(outcome.status, 200);
  EXPECT_EQ(readFile(file_), large);
  EXPECT_EQ(outcome.chunks, 5'000'123);
  EXPECT_EQ(outcome.received, 5'000'123);
  EXPECT_EQ(outcome.expected, 5'000'123);
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, asksOnlyForTheRest) {
  origin_.serveFile("/v", {.bytes = body_, .etag = "\"v1\""});
  writeFile(file_, body_.substr(0, 1000));
  writeFile(validatorFile_, "ETag: \"v1\"\n");
  const Outcome outcome = run(download(origin_.url("/v"), true));
  EXPECT_FALSE(outcome.err);
  EXPECT_EQ(outcome.status, 206);
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_EQ(outcome.chunks, 4000);
  EXPECT_EQ(outcome.received, 5000);
  EXPECT_EQ(outcome.expected, 5000);
  EXPECT_EQ(origin_.requests()[0].header("Range"), "bytes=1000-");
  EXPECT_EQ(origin_.requests()[0].header("If-Range"), "\"v1\"");
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, withoutAValidatorAsksForTheRestAllTheSame) {
  origin_.serveFile("/v", {.bytes = body_});
  writeFile(file_, body_.substr(0, 1000));
  writeFile(validatorFile_, "damaged");
  EXPECT_FALSE(run(download(origin_.url("/v"), true)).err);
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_EQ(origin_.requests()[0].header("If-Range"), std::nullopt);
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, aChangedFileIsFetchedWhole) {
  writeFile(validatorFile_, "ETag: \"v1\"\n");
  origin_.serveFile("/v", {.bytes = body_, .etag = "\"v2\""});
  // A server that knows nothing of If-Range shows by its tag that the rest belongs to another file.
  origin_.route("/w", [&](OriginRequest request, OriginConnection& out) {
    std::erase_if(request.headers, [](const auto& field) { return field.first == "If-Range"; });
    out.respondFile(request, {.bytes = body_, .etag = "\"v2\""});
  });
  for (const char* path : {"/v", "/w"}) {
    writeFile(file_, old_);
    const Outcome outcome = run(download(origin_.url(path), true));
    EXPECT_FALSE(outcome.err);
    EXPECT_EQ(readFile(file_), body_);
    EXPECT_EQ(outcome.chunks, 5000);
    EXPECT_EQ(outcome.received, 5000);
    writeFile(validatorFile_, "ETag: \"v1\"\n");
  }
  EXPECT_EQ(origin_.requestsTo("/w").size(), 2U);
  EXPECT_EQ(origin_.requestsTo("/w")[1].header("Range"), std::nullopt);
}

TEST_F(SCNetworkDownloadApiTest, startsOverOnceWhenTheRangeIsAnsweredWrongly) {
  origin_.route("/off", [&](const OriginRequest& request, OriginConnection& out) {
    if (!request.header("Range")) return out.respond(200, body_);
    out.respond(206, body_.substr(900), {{"Content-Range", "bytes 900-4999/5000"}});
  });
  origin_.serveFile("/whole", {.bytes = body_, .ranges = false});
  origin_.serveFile("/shorter", {.bytes = body_.substr(0, 800)});
  const std::pair<const char*, std::size_t> cases[] = {{"/off", 5000}, {"/whole", 5000}, {"/shorter", 800}};
  for (const auto& [path, size] : cases) {
    writeFile(file_, old_);
    const Outcome outcome = run(download(origin_.url(path), true));
    EXPECT_FALSE(outcome.err) << path;
    EXPECT_EQ(outcome.status, 200) << path;
    EXPECT_EQ(readFile(file_), body_.substr(0, size)) << path;
    EXPECT_EQ(outcome.chunks, static_cast<std::int64_t>(size)) << path;
  }
  // A server that refuses the whole file as well is not asked a third time.
  origin_.route("/never", [](const OriginRequest&, OriginConnection& out) { out.respond(416); });
  EXPECT_EQ(run(download(origin_.url("/never"), true)).refusedStatus(), 416);
  EXPECT_EQ(origin_.requestsTo("/never").size(), 2U);
}

TEST_F(SCNetworkDownloadApiTest, aCompleteFileIsASuccessWithoutAByte) {
  origin_.serveFile("/v", {.bytes = body_, .etag = "\"v1\""});
  writeFile(file_, body_);
  writeFile(validatorFile_, "ETag: \"v1\"\n");
  const Outcome outcome = run(download(origin_.url("/v"), true));
  EXPECT_FALSE(outcome.err);
  EXPECT_EQ(outcome.status, 416);
  EXPECT_EQ(outcome.chunks, 0);
  EXPECT_EQ(outcome.received, 5000);
  EXPECT_EQ(origin_.requests().size(), 1U);
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, anEarlyEndKeepsThePartForTheNextTry) {
  origin_.route("/v", [&](const OriginRequest& request, OriginConnection& out) {
    if (request.header("Range")) return out.respondFile(request, {.bytes = body_, .etag = "\"v1\""});
    out.send("HTTP/1.1 200 OK\r\nETag: \"v1\"\r\nContent-Length: 5000\r\n\r\n" + body_.substr(0, 2000));
    out.close();
  });
  const Outcome first = run(download(origin_.url("/v"), true));
  EXPECT_EQ(first.code(), codeOf(SCURLErrorCode::NetworkConnectionLost));
  EXPECT_EQ(first.chunks, 2000);
  EXPECT_EQ(readFile(file_), body_.substr(0, 2000));
  EXPECT_THAT(files(), ElementsAre(".v.mp4.resume", "v.mp4"));

  const Outcome second = run(download(origin_.url("/v"), true));
  EXPECT_FALSE(second.err);
  EXPECT_EQ(second.chunks, 3000);
  EXPECT_EQ(origin_.requests()[1].header("If-Range"), "\"v1\"");
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, aPieceOfTheRestIsNotTheRest) {
  origin_.route("/v", [this](const OriginRequest&, OriginConnection& out) {
    out.respond(206, body_.substr(1000, 1000), {{"Content-Range", "bytes 1000-1999/5000"}});
  });
  writeFile(file_, body_.substr(0, 1000));
  const Outcome outcome = run(download(origin_.url("/v"), true));
  EXPECT_EQ(outcome.code(), codeOf(SCURLErrorCode::NetworkConnectionLost));
  EXPECT_EQ(outcome.chunks, 1000);
  EXPECT_EQ(readFile(file_), body_.substr(0, 2000));
}

TEST_F(SCNetworkDownloadApiTest, aBrokenBodyWithoutResumeLeavesNoFile) {
  limits_.stallTimeout = 150ms;
  const std::string part = "HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + body_.substr(0, 2000);
  origin_.route("/end", [part](const OriginRequest&, OriginConnection& out) {
    out.send(part);
    out.close();
  });
  origin_.route("/reset", [part](const OriginRequest&, OriginConnection& out) {
    out.send(part);
    out.reset();
  });
  origin_.route("/stall", [part](const OriginRequest&, OriginConnection& out) {
    out.send(part);
    out.stall();
  });
  origin_.route("/silent", [&](const OriginRequest&, OriginConnection& out) { out.stall(); });
  origin_.route("/chunks", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\n0123456789");
    out.close();
  });
  for (const char* path : {"/end", "/reset", "/stall", "/silent", "/chunks"}) {
    EXPECT_EQ(run(download(origin_.url(path))).code(), codeOf(SCURLErrorCode::NetworkConnectionLost)) << path;
    EXPECT_THAT(files(), IsEmpty()) << path;
  }
}

TEST_F(SCNetworkDownloadApiTest, answersThatAreNotTheFileLeaveFilesUntouched) {
  origin_.serve("/404", "<html>no</html>", 404);
  origin_.serve("/500", "<html>no</html>", 500);
  origin_.route("/302", [](const OriginRequest&, OriginConnection& out) { out.respond(302, "<html>where?</html>"); });
  writeFile(file_, old_);
  for (const int status : {404, 500, 302}) {
    for (const bool resume : {false, true}) {
      const Outcome outcome = run(download(origin_.url("/" + std::to_string(status)), resume));
      EXPECT_EQ(outcome.refusedStatus(), status);
      EXPECT_EQ(outcome.status, status);
      EXPECT_EQ(readFile(file_), old_);
    }
  }
  // A part that nobody asked for, and a coding of the file in place of the file.
  origin_.route("/206", [&](const OriginRequest&, OriginConnection& out) {
    out.respond(206, body_, {{"Content-Range", "bytes 0-4999/9000"}});
  });
  origin_.route("/gzip", [&](const OriginRequest& request, OriginConnection& out) {
    EXPECT_EQ(request.header("Accept-Encoding"), "identity");
    out.respond(200, body_, {{"Content-Encoding", "gzip"}});
  });
  for (const char* path : {"/206", "/gzip"}) {
    EXPECT_EQ(run(download(origin_.url(path))).code(), codeOf(SCURLErrorCode::NetworkConnectionLost)) << path;
    EXPECT_EQ(readFile(file_), old_);
  }
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, anEmptyBodyIsAnEmptyFile) {
  origin_.serve("/v", "");
  for (const bool resume : {false, true}) {
    std::filesystem::remove(file_);
    EXPECT_FALSE(run(download(origin_.url("/v"), resume)).err);
    EXPECT_TRUE(std::filesystem::exists(file_));
    EXPECT_EQ(readFile(file_), "");
  }
}

TEST_F(SCNetworkDownloadApiTest, aBodyThatEndsWithItsConnectionIsComplete) {
  origin_.route("/v", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\n\r\n" + body_);
    out.close();
  });
  const Outcome outcome = run(download(origin_.url("/v")));
  EXPECT_FALSE(outcome.err);
  EXPECT_EQ(outcome.expected, 0);
  EXPECT_EQ(readFile(file_), body_);
}

TEST_F(SCNetworkDownloadApiTest, aSlowBodyIsWrittenAndToldWhileItArrives) {
  origin_.route("/v", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + body_.substr(0, 1000));
    out.wait(gate_);
    out.send(body_.substr(1000));
  });
  const Recorded outcome = start(download(origin_.url("/v"), true));
  ASSERT_TRUE(runUntil([&] { return outcome->chunks == 1000; }));
  EXPECT_EQ(readFile(file_), body_.substr(0, 1000));
  EXPECT_EQ(outcome->expected, 5000);
  gate_.open();
  EXPECT_FALSE(finish(outcome).err);
  EXPECT_EQ(outcome->chunks, 5000);
  EXPECT_EQ(readFile(file_), body_);
}

TEST_F(SCNetworkDownloadApiTest, cancelCallsNoHandlerAndLeavesNoPart) {
  origin_.route("/v", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + body_.substr(0, 1000));
    out.wait(gate_);
  });
  const auto request = download(origin_.url("/v"));
  const Recorded outcome = start(request);
  ASSERT_TRUE(runUntil([&] { return outcome->chunks == 1000; }));
  EXPECT_THAT(files(), ElementsAre(".v.mp4.part"));
  request->cancel();
  request->cancel();
  settle();
  EXPECT_EQ(outcome->ends, 0);
  EXPECT_THAT(files(), IsEmpty());
  EXPECT_EQ(outcome.use_count(), 1) << "the handlers are dropped";
}

TEST_F(SCNetworkDownloadApiTest, handlersThatWerePostedBeforeTheCancelDoNotRun) {
  origin_.serve("/v", body_);
  const auto request = download(origin_.url("/v"));
  const Recorded outcome = start(request);
  const auto deadline = std::chrono::steady_clock::now() + 20s;  // the loop does not run meanwhile
  while (!std::filesystem::exists(file_) && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  request->cancel();
  settle();
  EXPECT_EQ(outcome->ends, 0);
  EXPECT_EQ(outcome->chunks, 0);
}

TEST_F(SCNetworkDownloadApiTest, cancelKeepsThePartOfAResumedDownloadForTheNextRequest) {
  origin_.route("/v", [&](const OriginRequest& request, OriginConnection& out) {
    if (request.header("Range")) return out.respondFile(request, {.bytes = body_, .etag = "\"v1\""});
    out.send("HTTP/1.1 200 OK\r\nETag: \"v1\"\r\nContent-Length: 5000\r\n\r\n" + body_.substr(0, 1000));
    out.wait(gate_);
  });
  const auto request = download(origin_.url("/v"), true);
  const Recorded outcome = start(request);
  ASSERT_TRUE(runUntil([&] { return outcome->chunks == 1000; }));
  request->cancel();
  const Outcome second = run(download(origin_.url("/v"), true));  // at once: the calls keep their order
  EXPECT_FALSE(second.err);
  EXPECT_EQ(second.chunks, 4000);
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, anAnswerAfterTheCancelTouchesNothing) {
  origin_.route("/v", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(200, body_);
  });
  for (const bool resume : {false, true}) {
    const auto request = download(origin_.url("/v"), resume);
    const Recorded outcome = start(request);
    request->cancel();
    EXPECT_EQ(outcome.use_count(), 1) << "the handlers are dropped";
  }
  gate_.open();
  settle();
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(SCNetworkDownloadApiTest, twoDownloadsOfOneFileDoNotMix) {
  const auto inTwoPieces = [](OriginGate& gate, const std::string& body) {
    return [&gate, &body](const OriginRequest&, OriginConnection& out) {
      out.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body.substr(0, 500));
      out.wait(gate);
      out.send(body.substr(500));
    };
  };
  origin_.route("/first", inTwoPieces(gate_, old_));
  origin_.route("/second", inTwoPieces(laterGate_, body_));
  const Recorded first = start(download(origin_.url("/first")));
  ASSERT_TRUE(runUntil([&] { return first->chunks == 500; }));
  const Recorded second = start(download(origin_.url("/second")));
  ASSERT_TRUE(runUntil([&] { return second->chunks == 500; }));
  gate_.open();
  EXPECT_EQ(finish(first).code(), codeOf(SCURLErrorCode::CannotWriteFile)) << "its part has been replaced";
  laterGate_.open();
  EXPECT_FALSE(finish(second).err);
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_THAT(files(), ElementsAre("v.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, whatComesIntoTheFilesPlaceMeanwhileIsRefused) {
  origin_.route("/v", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(200, body_);
  });
  const Recorded renaming = start(download(origin_.url("/v")));
  const auto request = download(origin_.url("/v"), true);
  request->setDownloadFilePath(folder_ / "w.mp4");
  const Recorded opening = start(request);
  ASSERT_TRUE(origin_.waitForRequests(2));
  writeFile(folder_ / "outside", old_);
  std::filesystem::create_directory(file_);
  std::filesystem::create_symlink(folder_ / "outside", folder_ / "w.mp4");
  gate_.open();
  EXPECT_EQ(finish(renaming).code(), codeOf(SCURLErrorCode::CannotWriteFile));
  EXPECT_EQ(finish(opening).code(), codeOf(SCURLErrorCode::CannotWriteFile));
  EXPECT_EQ(readFile(folder_ / "outside"), old_);
  EXPECT_THAT(files(), ElementsAre("outside", "v.mp4", "w.mp4"));
}

TEST_F(SCNetworkDownloadApiTest, whatIsNoRegularFileIsRefused) {
  origin_.serve("/v", body_);
  const auto refuses = [&](bool resume) {
    return run(download(origin_.url("/v"), resume)).code() == codeOf(SCURLErrorCode::CannotWriteFile);
  };
  writeFile(folder_ / "outside", old_);
  for (const bool resume : {false, true}) {
    std::filesystem::create_symlink(folder_ / "outside", file_);
    EXPECT_TRUE(refuses(resume));
    std::filesystem::remove(file_);
    std::filesystem::create_directory(file_);
    EXPECT_TRUE(refuses(resume));
    std::filesystem::remove(file_);
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    EXPECT_TRUE(refuses(resume));
    std::filesystem::remove(file_);
  }
  EXPECT_EQ(readFile(folder_ / "outside"), old_);
  EXPECT_TRUE(origin_.requests().empty()) << "nothing is asked for what cannot be stored";
}

TEST_F(SCNetworkDownloadApiTest, aPathWithoutAFolderIsRefused) {
  origin_.serve("/v", body_);
  for (const std::string& path : {folder_ / "missing/v.mp4", std::string(), std::string("v.mp4"), folder_ / "",
                                  folder_ / "..", folder_ / std::string_view("a\0b", 3)}) {
    const auto request = download(origin_.url("/v"));
    request->setDownloadFilePath(path);
    EXPECT_EQ(run(request).code(), codeOf(SCURLErrorCode::CannotWriteFile)) << path;
  }
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(SCNetworkDownloadApiTest, aLinkInThePlaceOfAPartIsNotFollowed) {
  origin_.serveFile("/v", {.bytes = body_, .etag = "\"v1\""});
  writeFile(folder_ / "outside", old_);
  std::filesystem::create_symlink(folder_ / "outside", folder_ / ".v.mp4.part");
  std::filesystem::create_symlink(folder_ / "outside", validatorFile_);
  EXPECT_FALSE(run(download(origin_.url("/v"))).err);
  std::filesystem::remove(file_);
  EXPECT_FALSE(run(download(origin_.url("/v"), true)).err);
  EXPECT_EQ(readFile(file_), body_);
  EXPECT_EQ(readFile(folder_ / "outside"), old_);
}

TEST_F(SCNetworkDownloadApiTest, aFolderRenamedAwayTakesItsDownloadAlong) {
  origin_.route("/v", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + body_.substr(0, 1000));
    out.wait(gate_);
    out.send(body_.substr(1000));
  });
  std::filesystem::create_directory(folder_ / "task");
  const auto request = download(origin_.url("/v"));
  request->setDownloadFilePath(folder_ / "task/v.mp4");
  const Recorded outcome = start(request);
  ASSERT_TRUE(runUntil([&] { return outcome->chunks == 1000; }));
  std::filesystem::rename(folder_ / "task", folder_ / "aside");
  std::filesystem::create_directory(folder_ / "task");
  gate_.open();
  EXPECT_FALSE(finish(outcome).err);
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "task"));
  EXPECT_EQ(readFile(folder_ / "aside/v.mp4"), body_);
}

TEST_F(SCNetworkDownloadApiTest, aWriteThatFailsIsAnError) {
  const std::string large = patternBytes(3'000'000);
  origin_.serve("/v", large);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small{100'000, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const Outcome outcome = run(download(origin_.url("/v")));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(outcome.code(), codeOf(SCURLErrorCode::CannotWriteFile));
  EXPECT_THAT(files(), IsEmpty());
}

TEST(SCFailure, aFullDiskIsTheLibrarysOwnError) {
  for (const int error : {ENOSPC, EDQUOT}) {
    EXPECT_EQ(SCFailure::file("write", error), ZRError(ZRErrorCode::DiskFull, "磁盘空间不足"));
  }
  EXPECT_EQ(SCFailure::file("write", EIO).domain(), kSCURLErrorDomain);
}
