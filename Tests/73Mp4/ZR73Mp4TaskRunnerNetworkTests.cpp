#include "RunnerFixture.h"
#include "ZR73Mp4TaskRunner.h"

namespace {

/// Tasks against a real origin, their metadata at hand.
class ZR73Mp4TaskRunnerNetworkTest : public RunnerFixture {
 protected:
  ZR73Mp4TaskRunnerNetworkTest() {
    const ZRFetch73InfoHandler tell([this](const ZRDictionary& request, const ZRReplyCompletion& reply) {
      const std::string path = "/" + std::to_string(request["vid"].int64Value());
      reply(ZRDictionary{{"url", origin_.url(path)}}, std::nullopt);
    });
    manager()->setup(options({{"fetch_73Info_Handler", tell}}));
  }

  static auto add(std::int64_t vid = 1) { return addTaskOf<ZR73Mp4TaskRunner>({{"vid", vid}, {"version", 2}}); }

  LoopbackOrigin origin_;
};

TEST_F(ZR73Mp4TaskRunnerNetworkTest, addedAgainKeepsItsNewFileAndAnUntoldSizeIsTheServers) {
  serveInTwo(origin_, "/1", patternBytes(5000), 2500);
  const auto old = add();
  ASSERT_TRUE(runUntil([&] { return old->downloadedBytes() == 2500; }));
  EXPECT_EQ(std::tuple(old->expectedBytes(), old->currentDownloadProgress()), std::tuple(5000U, 0.0F));
  origin_.serveFile("/1", {.bytes = patternBytes(5000, 9), .etag = "\"v2\""});
  manager()->removeTask(old);
  finished(add());
  ZRBackgroundQueue::shared().waitUntilIdle();
  EXPECT_EQ(readFile(downloadFolder() + "/73-1-2/1-2.mp4"), patternBytes(5000, 9));
  EXPECT_EQ(queried("SELECT fileSize FROM task_73_meta_tb"), "0");
}

TEST_F(ZR73Mp4TaskRunnerNetworkTest, transferEndsWhenItsTaskStopsOrStartsAnother) {
  manager()->setMaxConcurrentOperationCount(0);
  serveUntilEnded(origin_, "/1");
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
