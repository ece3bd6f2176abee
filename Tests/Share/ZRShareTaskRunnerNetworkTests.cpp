#include "ShareFixture.h"

namespace {

/// How the device is found and asked for its detail.
class ZRShareTaskRunnerNetworkTest : public ShareFixture {
 protected:
  /// The targets that `origin` was asked for so far.
  static std::vector<std::string> targets(const LoopbackOrigin& origin) {
    std::vector<std::string> all;
    for (const OriginRequest& request : origin.requests()) all.push_back(request.target);
    return all;
  }

  bool runUntilErrors(std::size_t count) {
    return runUntil([&] { return errors_.size() == count; });
  }
};

TEST_F(ZRShareTaskRunnerNetworkTest, lanAddressIsUsedWhenItAnswersThePing) {
  for (const std::string& lan : {device_.url(""), device_.url("/")}) {
    serveLookup("\"lan\": \"" + lan + "\", \"url\": \"" + relay_.url("") + "\"");
    const std::size_t before = device_.requests().size();
    const auto task = addShared();
    ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
    EXPECT_EQ(task->shareDownloadModel()->host(), device_.url("/"));
    const auto asked = targets(device_);
    EXPECT_EQ(asked.at(before), "/ping");
    EXPECT_EQ(asked.at(before + 1), "/video.action?videoId=v1");
    EXPECT_EQ(targets(relay_).back(), "/share?from=mac");
    manager()->removeTask(task);
  }
}

TEST_F(ZRShareTaskRunnerNetworkTest, silentDeviceIsReachedThroughTheRelay) {
  device_.route("/ping", [](const OriginRequest&, OriginConnection& out) { out.stall(); });
  const auto task = addShared();
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(task->shareDownloadModel()->host(), relay_.url("/"));
  EXPECT_EQ(requests(device_, "/ping"), 1U);
  EXPECT_EQ(requests(relay_, "/video.action"), 1U);
  EXPECT_EQ(detailRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, hostStaysWhenNoAddressHelps) {
  const std::string silent = "http://127.0.0.2:" + std::to_string(device_.refusedPort());
  device_.serve("/ping", R"({"status": 500})");
  for (const std::string& fields : {std::string(), "\"lan\": \"" + silent + "\"",
                                    "\"lan\": \"" + device_.url("") + "\"", std::string(R"("lan": 7, "url": null)")}) {
    serveLookup(fields);
    const auto task = addShared();
    ASSERT_TRUE(runUntil([&] { return task->isFinished(); })) << fields;
    EXPECT_EQ(task->shareDownloadModel()->host(), device_.url("/"));
    manager()->removeTask(task);
  }
}

TEST_F(ZRShareTaskRunnerNetworkTest, lanOnlyAsksForTheDetailAtOnce) {
  const auto task = add(params({{"shareUrl", relay_.url("/share")}}));
  ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(targets(device_).front(), "/video.action?videoId=v1");
  EXPECT_EQ(requests(device_, "/ping"), 0U);
  EXPECT_TRUE(relay_.requests().empty());
  EXPECT_TRUE(logged(0, "shareDownloadVideo:SCNetworkBaseApi GET " + device_.url("/video.action")));
}

TEST_F(ZRShareTaskRunnerNetworkTest, albumLookupFindsTheShareUrlOnce) {
  for (const ZRValue& shareUrl : {ZRValue(), ZRValue("")}) {
    const auto task = add(params({{"lanOnly", false}, {"shareUrl", shareUrl}}));
    ASSERT_TRUE(runUntil([&] { return task->isFinished(); }));
    EXPECT_EQ(task->shareDownloadModel()->shareUrl(), relay_.url("/share"));
    manager()->removeTask(task);
  }
  EXPECT_EQ(targets(device_).front(), "/albumdetail.action?albumId=a1");
  EXPECT_EQ(requests(device_, "/albumdetail.action"), 2U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, failedAlbumLookupMeansTheHostIsOffline) {
  device_.serve("/albumdetail.action", R"({"status": 404})");
  for (const std::string& host : {device_.url(""), std::string("no url"), std::string("file:///etc"), std::string()}) {
    const auto task = add(params({{"lanOnly", false}, {"host", host}}));
    ASSERT_TRUE(runUntil([&] { return task->isErrored(); })) << host;
    EXPECT_EQ(task->err(), ZRError(ZRErrorCode::HostOffline, "主机已下线"));
    manager()->removeTask(task);
  }
  EXPECT_EQ(detailRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, failedHostLookupIsReportedAsItIs) {
  relay_.serve("/share", R"({"status": 403, "error": "gone"})");
  const auto task = addShared();
  catchErrors(*task);
  ASSERT_TRUE(runUntilErrors(1));
  EXPECT_EQ(errors_[0].localizedDescription(), "gone");
  task->shareDownloadModel()->setShareUrl("http://127.0.0.3:" + std::to_string(relay_.refusedPort()));
  task->resume();
  ASSERT_TRUE(runUntilErrors(2));
  EXPECT_EQ(errors_[1], ZRError(ZRErrorCode::CannotReachServer, "无法连接到服务器"));
  EXPECT_EQ(detailRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, albumLookupKeepsItsTaskUntilItHasRun) {
  device_.route("/albumdetail.action", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(500);
  });
  auto task = add(params({{"lanOnly", false}}));
  manager()->removeTask(task);
  const std::weak_ptr<ZRShareTaskRunner> weak = std::exchange(task, nullptr);
  EXPECT_FALSE(weak.expired());
  gate_.open();
  EXPECT_TRUE(runUntil([&] { return weak.expired(); }));
}

TEST_F(ZRShareTaskRunnerNetworkTest, failedDetailIsFinalOrTriedFourTimes) {
  struct Case {
    int status;
    const char* body;
    std::size_t requests;
    std::int64_t code;
    const char* message;
  };
  for (const Case& c :
       {Case{200, R"({"status": 500})", 1, 105, "主机已下线"}, Case{404, "", 1, 105, "主机已下线"},
        Case{200, R"({"status": 201})", 1, 106, "文件已删除"}, Case{200, R"({"status": 202})", 1, 106, "文件已删除"},
        Case{200, R"({"status": "203"})", 1, 106, "文件已删除"}, Case{200, R"({"status": 204})", 4, 105, "主机已下线"},
        Case{200, "no JSON", 4, 105, "主机已下线"}, Case{200, R"({"status": 200, "data": 5})", 4, 105, "主机已下线"},
        Case{503, "", 4, 503, "HTTP status 503"}}) {
    device_.serve("/video.action", c.body, c.status);
    const std::size_t before = detailRequests();
    const auto task = add(params());
    catchErrors(*task);
    ASSERT_TRUE(runUntilErrors(1)) << c.body;
    EXPECT_EQ(detailRequests() - before, c.requests) << c.body;
    EXPECT_EQ(errors_[0].code(), c.code) << c.body;
    EXPECT_EQ(errors_[0].localizedDescription(), c.message);
    errors_.clear();
    manager()->removeTask(task);
  }
}

TEST_F(ZRShareTaskRunnerNetworkTest, loadedTaskIsNotTriedAgainBeforeASuccess) {
  manager()->setMaxConcurrentOperationCount(0);
  add(params({{"host", "http://127.0.0.2:" + std::to_string(device_.refusedPort())}}));
  restart();
  const auto task = firstUnfinished();
  manager()->resumeTask(task);
  ASSERT_TRUE(runUntil([&] { return task->isErrored(); }));
  EXPECT_EQ(task->err(), ZRError(ZRErrorCode::CannotReachServer, "无法连接到服务器"));
  EXPECT_EQ(std::ranges::count_if(messages(0), [](const auto& m) { return m.starts_with("shareDownloadVideo:"); }), 1);
  task->shareDownloadModel()->setHost(device_.url(""));
  manager()->resumeTask(task);
  EXPECT_TRUE(runUntil([&] { return task->isFinished(); }));
  EXPECT_EQ(task->remainedFailedRetryTimes(), 3);
}

}  // namespace
