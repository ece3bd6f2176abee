#include <filesystem>

#include "LibraryFixture.h"
#include "LoopbackOrigin.h"
#include "ZR73Mp4TaskRunner.h"

namespace fs = std::filesystem;

namespace {

/// Tasks against a real origin, their metadata at hand.
class ZR73Mp4TaskRunnerNetworkTest : public LibraryFixture {
 protected:
  ZR73Mp4TaskRunnerNetworkTest() { manager()->setup(host()); }

  ZRDictionary host(int slots = 3) {
    return options({{"max_concurrent_count", slots},
                    {"fetch_73Info_Handler",
                     ZRFetch73InfoHandler([this](const ZRDictionary& request, const ZRReplyCompletion& reply) {
                       const std::string path = "/" + std::to_string(request["vid"].int64Value());
                       reply(ZRDictionary{{"url", url_.value_or(origin_.url(path))}, {"fileSize", 5000}}, std::nullopt);
                     })}});
  }

  static std::shared_ptr<ZR73Mp4TaskRunner> add(std::int64_t vid = 1) {
    const auto task = ZR73Mp4TaskRunner::taskWithParams({{"vid", vid}, {"version", 2}});
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
    return task;
  }

  std::string file(std::int64_t vid = 1) const {
    const std::string name = std::to_string(vid) + "-2";
    return downloadFolder() + "/73-" + name + "/" + name + ".mp4";
  }

  /// Serves the first half of `bytes` at `path`, then waits for `gate`.
  void serveHalf(const std::string& path, const std::string& bytes, OriginGate& gate) {
    origin_.route(path, [&gate, bytes](const OriginRequest&, OriginConnection& out) {
      out.send("HTTP/1.1 200 OK\r\nETag: \"v1\"\r\nContent-Length: " + std::to_string(bytes.size()) + "\r\n\r\n");
      out.send(bytes.substr(0, bytes.size() / 2));
      out.wait(gate);
      out.send(bytes.substr(bytes.size() / 2));
    });
  }

  OriginGate gate_;  // outlives the origin, whose threads may wait for it
  LoopbackOrigin origin_;
  std::optional<std::string> url_;  // in place of the origin's
  const std::string bytes_ = patternBytes(5000);
};

TEST_F(ZR73Mp4TaskRunnerNetworkTest, downloadsTheFileAndFinishes) {
  origin_.serveFile("/1", {.bytes = bytes_, .etag = "\"v1\""});
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(readFile(file()), bytes_);
  EXPECT_EQ(task->currentDownloadProgress(), 1.0F);
  EXPECT_EQ(task->transferedPerSecond(), 5000);
  EXPECT_EQ(task->executingPhase(), 2U);
  EXPECT_TRUE(logged(1, "finish" + task->description()));
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("73-1"), file());
  restart();
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("73-1"), file());
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, pausedTaskContinuesItsFileWithoutNewMetadata) {
  serveHalf("/1", bytes_, gate_);
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->downloadedBytes() == 2500; }));
  EXPECT_EQ(task->currentDownloadProgress(), 0.5F);
  manager()->pauseTask(task);
  EXPECT_EQ(task->executingPhase(), 1U);
  origin_.serveFile("/1", {.bytes = bytes_, .etag = "\"v1\""});
  url_ = "http://127.0.0.1:1/not-asked-for";
  manager()->resumeTask(task);
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(origin_.requests().back().header("Range"), "bytes=2500-");
  EXPECT_EQ(readFile(file()), bytes_);
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, everyTaskContinuesAfterPauseAllAndARestart) {
  for (int vid = 1; vid <= 3; ++vid) {
    serveHalf("/" + std::to_string(vid), bytes_, gate_);
    add(vid);
  }
  ASSERT_TRUE(runUntil([&] {
    const auto tasks = manager()->allUnFinishTaskArr();
    return std::all_of(tasks.begin(), tasks.end(),
                       [](const auto& task) { return task->currentDownloadProgress() == 0.5F; });
  }));
  manager()->pauseAllTasks();
  ZRDownloadManager::shutdown();
  for (int vid = 1; vid <= 3; ++vid) origin_.serveFile("/" + std::to_string(vid), {.bytes = bytes_, .etag = "\"v1\""});
  manager()->setup(host());
  manager()->starTasks(manager()->allUnFinishTaskArr());
  ASSERT_TRUE(runUntil([] { return manager()->allFinishedTaskArr().size() == 3; }));
  for (int vid = 1; vid <= 3; ++vid) EXPECT_EQ(readFile(file(vid)), bytes_);
  for (const OriginRequest& request : origin_.requests()) {
    EXPECT_NE(request.header("Range").value_or("bytes=2500-"), "bytes=0-");
  }
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, completeFileIsFinishedWithoutABody) {
  writeFile(file(), bytes_);
  origin_.serveFile("/1", {.bytes = bytes_, .etag = "\"v1\""});
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(origin_.requests().back().header("Range"), "bytes=5000-");
  EXPECT_EQ(readFile(file()), bytes_);
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, transportFailuresReachTheHostAsTheLibrarysOwn) {
  struct Case {
    std::string url;
    ZRError error;
  };
  origin_.route("/reset", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n1234");
    out.reset();
  });
  origin_.route("/short", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n1234");
    out.close();
  });
  const ZRError lost(ZRErrorCode::ConnectionLost, "失去网络连接");
  const ZRError unreachable(ZRErrorCode::CannotReachServer, "无法连接到服务器");
  const std::string refused = "http://127.0.0.1:" + std::to_string(origin_.refusedPort()) + "/v?token=secret";
  for (const Case& c :
       {Case{origin_.url("/reset"), lost}, Case{origin_.url("/short"), lost}, Case{refused, unreachable}}) {
    url_ = c.url;
    const auto task = add();
    ASSERT_TRUE(runUntil([&] { return task->isErrored(); }));
    EXPECT_EQ(*task->err(), c.error);
    EXPECT_TRUE(logged(2, c.url));
    manager()->removeTask(task);
    ZRDownloadManager::shutdown();
    manager()->setup(host());
  }
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, errorPageNeverReachesTheFileAndLeavesTheTaskExecuting) {
  writeFile(file(), bytes_.substr(0, 1000));
  origin_.serve("/1", "<html>not here</html>", 404);
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return logged(2, origin_.url("/1")); }));
  EXPECT_TRUE(task->isExecuting());
  EXPECT_EQ(readFile(file()), bytes_.substr(0, 1000));
  manager()->pauseTask(task);
  origin_.serveFile("/1", {.bytes = bytes_, .etag = "\"v1\""});
  manager()->resumeTask(task);
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(readFile(file()), bytes_);
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, otherSchemesAreNotFetched) {
  const std::string secret = home_ / "secret.txt";
  writeFile(secret, "secret");
  for (const std::string& url : {"file://" + secret, std::string(), std::string("http://"), std::string("not a url")}) {
    url_ = url;
    const auto task = add();
    ASSERT_TRUE(runUntil([&] { return logged(2, url); })) << url;
    EXPECT_FALSE(fs::exists(file()));
    manager()->removeTask(task);
    log_.clear();
  }
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, taskAddedAgainAtOnceKeepsItsNewFile) {
  serveHalf("/1", bytes_, gate_);
  const auto old = add();
  ASSERT_TRUE(runUntil([&] { return old->downloadedBytes() == 2500; }));
  origin_.serveFile("/1", {.bytes = patternBytes(5000, 9), .etag = "\"v2\""});
  manager()->removeTask(old);
  const auto fresh = add();
  ASSERT_TRUE(runUntil([&] { return fresh->isFinished(); }));
  ZRBackgroundQueue::shared().waitUntilIdle();
  EXPECT_EQ(readFile(file()), patternBytes(5000, 9));
  EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(file()).parent_path()), {}), 1);
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, noMoreTransfersThanSlotsAndTheOldestWaitingFirst) {
  std::mutex mutex;
  int open = 0;
  int most = 0;
  for (int vid = 1; vid <= 10; ++vid) {
    origin_.route("/" + std::to_string(vid), [&](const OriginRequest& request, OriginConnection& out) {
      {
        const std::lock_guard lock(mutex);
        most = std::max(most, ++open);
      }
      if (request.target == "/1") out.wait(gate_);
      {
        const std::lock_guard lock(mutex);
        --open;
      }
      out.respond(200, bytes_);
    });
    add(vid);
  }
  ASSERT_TRUE(runUntil([] { return manager()->allFinishedTaskArr().size() == 9; }));
  gate_.open();
  ASSERT_TRUE(runUntil([] { return manager()->allFinishedTaskArr().size() == 10; }));
  EXPECT_LE(most, 3);
  std::vector<std::string> resumed;  // one record for each task, in the order in which they got their slots
  for (const std::string& message : messages(0)) {
    if (message.starts_with("【73vid:")) resumed.push_back(message.substr(0, message.find(',')));
  }
  ASSERT_EQ(resumed.size(), 10U);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(resumed[i], "【73vid:" + std::to_string(i + 1));
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, unwritableFolderIsAnErrorAndNoCrash) {
  writeFile(downloadFolder() + "/73-1-2/1-2.mp4/in-the-way", "a folder stands where the file should be");
  origin_.serveFile("/1", {.bytes = bytes_});
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return logged(2, origin_.url("/1")); }));
  EXPECT_FALSE(task->isFinished());
  EXPECT_TRUE(fs::exists(file() + "/in-the-way"));
}

}  // namespace
