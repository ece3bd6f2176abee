#include <atomic>

#include "RunnerFixture.h"
#include "ZR73Mp4TaskRunner.h"

namespace {

/// Tasks against a real origin, their metadata at hand.
class ZR73Mp4TaskRunnerNetworkTest : public RunnerFixture {
 protected:
  ZR73Mp4TaskRunnerNetworkTest() { manager()->setup(host()); }

  ZRDictionary host() {
    return options(
        {{"fetch_73Info_Handler",
          ZRFetch73InfoHandler([this](const ZRDictionary& request, const ZRReplyCompletion& reply) {
            const std::string path = "/" + std::to_string(request["vid"].int64Value());
            reply(ZRDictionary{{"url", url_.value_or(origin_.url(path))}, {"fileSize", fileSize_}}, std::nullopt);
          })}});
  }

  static auto add(std::int64_t vid = 1) { return addTaskOf<ZR73Mp4TaskRunner>({{"vid", vid}, {"version", 2}}); }

  std::string file(std::int64_t vid = 1) const {
    const std::string name = std::to_string(vid) + "-2";
    return downloadFolder() + "/73-" + name + "/" + name + ".mp4";
  }

  void serve(std::int64_t vid = 1) {
    origin_.serveFile("/" + std::to_string(vid), {.bytes = bytes_, .etag = "\"v1\""});
  }

  void serveHalf(std::int64_t vid = 1) { serveInTwo(origin_, "/" + std::to_string(vid), bytes_, 2500); }

  /// Answers with half of the file and counts the connections that the library ends.
  void serveUntilEnded() {
    origin_.route("/1", [this](const OriginRequest&, OriginConnection& out) {
      out.send(OriginConnection::head(bytes_.size()) + bytes_.substr(0, 2500));
      out.stall();
      ++ended_;
      loop_->post([] {});
    });
  }

  const std::string bytes_ = patternBytes(5000);
  std::atomic<int> ended_ = 0;
  LoopbackOrigin origin_;
  std::int64_t fileSize_ = 5000;    // as the host tells
  std::optional<std::string> url_;  // in place of the origin's
};

TEST_F(ZR73Mp4TaskRunnerNetworkTest, downloadsTheFileAndFinishes) {
  serve();
  const auto task = add();
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("73-1"), std::nullopt);
  finished(task);
  EXPECT_EQ(readFile(file()), bytes_);
  EXPECT_EQ(std::tuple(task->currentDownloadProgress(), task->transferedPerSecond()), std::tuple(1.0F, 5000));
  EXPECT_EQ(task->executingPhase(), 2U);
  EXPECT_TRUE(logged(1, "finish" + task->description()));
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("73-1"), file());
  restart();
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("73-1"), file());
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("73-2"), std::nullopt);
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, pausedTaskContinuesWithoutNewMetadataAndALoadedOneWith) {
  for (int vid = 1; vid <= 2; ++vid) {
    serveHalf(vid);
    const auto task = add(vid);
    ASSERT_TRUE(runUntil([&] { return task->downloadedBytes() == 2500; }));
    EXPECT_EQ(task->currentDownloadProgress(), 0.5F);
  }
  manager()->pauseAllTasks();
  url_ = "http://127.0.0.1:1/not-asked-for";
  serve(1);
  const auto paused = unfinishedOf<ZR73Mp4TaskRunner>();
  manager()->resumeTask(paused);
  finished(paused);
  url_.reset();
  restart(host());
  serve(2);
  const auto loaded = unfinishedOf<ZR73Mp4TaskRunner>();
  manager()->resumeTask(loaded);
  finished(loaded);
  for (int vid = 1; vid <= 2; ++vid) {
    EXPECT_EQ(readFile(file(vid)), bytes_);
    EXPECT_EQ(origin_.requestsTo("/" + std::to_string(vid)).back().header("Range"), "bytes=2500-");
  }
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, transportFailuresReachTheHostAsTheLibrarysOwn) {
  origin_.route("/reset", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n1234");
    out.reset();
  });
  const std::string refused = "http://127.0.0.1:" + std::to_string(origin_.refusedPort()) + "/v?token=secret";
  for (const auto& [url, error] :
       {std::pair(origin_.url("/reset"), connectionLost_), std::pair(refused, unreachable_)}) {
    url_ = url;
    const auto task = failed(add(), error);
    EXPECT_TRUE(logged(2, url));
    manager()->removeTask(task);
  }
  url_ = "";  // an address too, and other errors are the host's to judge
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return logged(2, ""); }));
  EXPECT_TRUE(task->isExecuting());
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, addedAgainKeepsItsNewFileAndAnUntoldSizeIsTheServers) {
  serveHalf();
  fileSize_ = 0;
  const auto old = add();
  ASSERT_TRUE(runUntil([&] { return old->downloadedBytes() == 2500; }));
  EXPECT_EQ(std::tuple(old->expectedBytes(), old->currentDownloadProgress()), std::tuple(5000U, 0.0F));
  origin_.serveFile("/1", {.bytes = patternBytes(5000, 9), .etag = "\"v2\""});
  manager()->removeTask(old);
  finished(add());
  ZRBackgroundQueue::shared().waitUntilIdle();
  EXPECT_EQ(readFile(file()), patternBytes(5000, 9));
  EXPECT_EQ(queried("SELECT fileSize FROM task_73_meta_tb"), "0");
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, transferEndsWhenItsTaskStopsOrStartsAnother) {
  manager()->setMaxConcurrentOperationCount(0);
  serveUntilEnded();
  const auto task = add();
  const auto other = add(2);
  for (const auto& stop : std::initializer_list<std::function<void()>>{
           [&] { manager()->pauseTask(task); }, [&] { manager()->pauseAllTasks(); },
           [&] { manager()->resumeTask(other); }, [&] { manager()->setMaxConcurrentOperationCount(0); },
           [&] { other->invokeErrorNotifi(unreachable_); }, [&] { task->resume(); }}) {
    const std::size_t asked = origin_.requestsTo("/1").size();
    manager()->pauseTask(other);
    manager()->setMaxConcurrentOperationCount(1);
    if (!task->isExecuting()) manager()->resumeTask(task);
    ASSERT_TRUE(runUntil([&] { return origin_.requestsTo("/1").size() > asked; }));
    other->switch2Wait();
    const int before = ended_;
    stop();
    EXPECT_TRUE(runUntil([&] { return ended_ > before; }));
  }
}

}  // namespace
