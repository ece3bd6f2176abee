#include "SCFailure.h"
#include "ShareFixture.h"

using namespace std::string_literals;

namespace {

/// How the device is found and asked for its detail.
class ZRShareTaskRunnerNetworkTest : public ShareFixture {
 protected:
  /// Where a task ends up whose share service says `fields` of the device.
  std::optional<std::string> hostAfterLookup(const std::string& fields) {
    serveLookup(fields);
    const auto task = addShared();
    finished(task);
    manager()->removeTask(task);
    return task->shareDownloadModel()->host();
  }

  static std::string lan(const std::string& url) { return R"("lan": ")" + url + '"'; }
};

TEST_F(ZRShareTaskRunnerNetworkTest, hostIsTheLanAddressThatAnswersThePing) {
  const std::string relay = R"(, "url": ")" + relay_.url("") + '"';
  for (const char* path : {"", "/"}) {
    EXPECT_EQ(hostAfterLookup(lan(device_.url(path)) + relay), device_.url("/"));
    EXPECT_EQ(relay_.requests().back().target, "/share?from=mac");
  }
  EXPECT_EQ(device_.requests().front().target, "/ping");
  EXPECT_EQ(std::tuple(requests(device_, "/ping"), detailRequests()), std::tuple(2U, 2U));
  const std::string silent = "http://127.0.0.2:" + std::to_string(device_.refusedPort());
  for (const std::string& fields : {std::string(), lan(silent), std::string(R"("lan": 7, "url": null)")}) {
    EXPECT_EQ(hostAfterLookup(fields), device_.url("/"));  // stays
  }
  device_.route("/ping", [](const OriginRequest&, OriginConnection& out) { out.stall(); });
  EXPECT_EQ(hostAfterLookup(lan(device_.url("")) + relay), relay_.url("/"));
  EXPECT_EQ(std::tuple(requests(device_, "/ping"), requests(relay_, "/video.action")), std::tuple(3U, 1U));
  EXPECT_EQ(detailRequests(), 5U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, albumLookupFindsTheShareUrl) {
  for (const ZRValue& shareUrl : {ZRValue(), ZRValue("")}) {
    const auto task = finished(add(params({{"lanOnly", false}, {"shareUrl", shareUrl}})));
    EXPECT_EQ(task->shareDownloadModel()->shareUrl(), relay_.url("/share"));
    manager()->removeTask(task);
  }
  EXPECT_EQ(device_.requests().front().target, "/albumdetail.action?albumId=a1");
}

TEST_F(ZRShareTaskRunnerNetworkTest, failedAlbumLookupMeansTheHostIsOffline) {
  for (const char* answer : {R"({"status": 404})", R"({"status": 200, "data": {}})",
                             R"({"status": 200, "data": {"shareUrl": "file:///etc"}})"}) {
    device_.serve("/albumdetail.action", answer);
    manager()->removeTask(failed(add(params({{"lanOnly", false}})), offline_));
  }
  failed(add(params({{"lanOnly", false}, {"host", "no url"}})), offline_);
  EXPECT_EQ(detailRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, failedHostLookupIsReportedAsItIs) {
  relay_.serve("/share", R"({"status": 403, "error": "gone"})");
  EXPECT_EQ(caughtError(*addShared()).localizedDescription(), "gone");
  EXPECT_EQ(detailRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerNetworkTest, albumLookupKeepsItsTaskUntilItHasRun) {
  device_.route("/albumdetail.action", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(500);
  });
  auto task = add(params({{"lanOnly", false}}));
  manager()->removeTask(task);
  const std::weak_ptr<Runner> weak = std::exchange(task, nullptr);
  EXPECT_FALSE(weak.expired());
  gate_.open();
  EXPECT_TRUE(runUntil([&] { return weak.expired(); }));
}

TEST_F(ZRShareTaskRunnerNetworkTest, failedDetailIsFinalOrTriedFourTimes) {
  const ZRError deleted(ZRErrorCode::FileDeleted, "文件已删除");
  for (const auto& [status, body, asked, error] : {std::tuple(404, R"({"status": 202})", 1U, offline_),
                                                   {200, R"({"status": "500"})", 1U, offline_},
                                                   {200, R"({"status": 201})", 1U, deleted},
                                                   {200, R"({"status": 202})", 1U, deleted},
                                                   {200, R"({"status": "203"})", 1U, deleted},
                                                   {200, R"({"status": 204})", 4U, offline_},
                                                   {200, R"([500])", 4U, offline_},
                                                   {200, "no JSON", 4U, offline_},
                                                   {200, R"({"status": 200, "data": 5})", 4U, offline_},
                                                   {503, "", 4U, SCFailure::status(503)}}) {
    SCOPED_TRACE(body);
    device_.serve("/video.action", body, status);
    const std::size_t before = detailRequests();
    const auto task = add(params());
    EXPECT_EQ(caughtError(*task), error);
    EXPECT_EQ(detailRequests() - before, asked);
    manager()->removeTask(task);
  }
}

}  // namespace
