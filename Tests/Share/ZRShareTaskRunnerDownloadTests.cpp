#include <atomic>

#include "ShareFixture.h"

namespace {

/// Subtitles, cover and video.
class ZRShareTaskRunnerDownloadTest : public ShareFixture {
 protected:
  /// The subtitles that were asked for so far, by their numbers.
  std::string subtitlesAskedFor() const {
    std::string numbers;
    for (const OriginRequest& request : device_.requests()) {
      if (request.target.ends_with(".srt")) numbers += request.target[1];
    }
    return numbers;
  }

  /// A task with its cover and half of its video, which breaks off when `gate_` opens.
  std::shared_ptr<Runner> addInMidway() {
    serveInTwo(device_, "/v", bytes_, 2500, 2500);
    const auto task = add(params());
    EXPECT_TRUE(runUntil([&] { return task->downloadedBytes() == 2500 && hasCover(); }));
    return task;
  }

  bool hasCover() const { return readFile(file("v1.jpg")) == cover_; }
  std::size_t coverRequests() const { return requests(device_, "/coverImg.action"); }
  std::size_t videoRequests() const { return requests(device_, "/v"); }
};

TEST_F(ZRShareTaskRunnerDownloadTest, lanOnlyTaskAsksForTheDetailThenSubtitlesFromTheLastThenTheVideo) {
  serveSubtitles(3);
  const auto covers = std::make_shared<std::atomic<int>>(0);
  device_.route("/coverImg.action", [this, covers](const OriginRequest&, OriginConnection& out) {
    out.respond(++*covers == 1 ? 404 : 200, cover_);  // the second one comes with the video
  });
  const auto task = add(params({{"shareUrl", relay_.url("/share")}}));
  ASSERT_TRUE(runUntil([&] { return task->isFinished() && hasCover(); }));
  EXPECT_EQ(device_.requests().front().target, "/video.action?videoId=v1");
  EXPECT_EQ(requests(device_, "/ping") + relay_.requests().size(), 0U);
  EXPECT_EQ(subtitlesAskedFor(), "210");
  for (const char* name : {"0.srt", "1.srt", "2.srt"}) EXPECT_EQ(readFile(file(name)), "subtitle " + std::string(name));
  EXPECT_EQ(readFile(file("movie")), bytes_);
  EXPECT_EQ(device_.requestsTo("/coverImg.action").front().target, "/coverImg.action?videoId=v1");
  EXPECT_EQ(task->currentDownloadProgress(), 1.0F);
  EXPECT_EQ(std::tuple(task->shareDownloadModel()->fileSize(), task->transferedPerSecond()), std::tuple(5000, 5000));
  EXPECT_EQ(task->executingPhase(), 3U);
  EXPECT_EQ(manager()->relativeMoviePathWithTaskId("share-1"), "a1/v1/movie");
  EXPECT_TRUE(logged(0, "shareDownloadVideo:SCNetworkBaseApi GET " + device_.url("/video.action")));
  EXPECT_TRUE(logged(0, "shareDownloadSubtitle:SCNetworkDownloadApi GET " + device_.url("/2.srt")));
  EXPECT_TRUE(logged(0, "shareDownloadCoverImg:SCNetworkDownloadApi GET " + device_.url("/coverImg.action")));
  EXPECT_TRUE(logged(1, "finish" + task->description()));
}

TEST_F(ZRShareTaskRunnerDownloadTest, chainEndsAtASubtitleOnDiskAlsoWhenAnEarlierOneIsRetried) {
  serveSubtitles(2);
  writeFile(file("1.srt"), "old");
  const auto stopped = add(params());
  ASSERT_TRUE(runUntil([&] { return hasCover(); }));
  EXPECT_TRUE(stopped->isExecuting());
  EXPECT_EQ(stopped->executingPhase(), 1U);
  EXPECT_EQ(subtitlesAskedFor(), "");
  device_.serve("/0.srt", "", 404);
  const auto retried = add(params({{"vid", "v2"}}));
  ASSERT_TRUE(runUntil([&] { return retried->remainedFailedRetryTimes() == 2; }));
  EXPECT_EQ(subtitlesAskedFor(), "10");
  EXPECT_EQ(videoRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerDownloadTest, failingSubtitleIsTriedFourTimesThenSkippedAndTheGivenSizeIsKept) {
  serveSubtitles(2);
  device_.serve("/1.srt", "", 404);
  const auto task = finished(add(params({{"fileSize", 2500}})));
  EXPECT_EQ(subtitlesAskedFor(), "11110");
  EXPECT_FALSE(fs::exists(file("1.srt")));
  EXPECT_EQ(task->currentDownloadProgress(), 2.0F);
}

TEST_F(ZRShareTaskRunnerDownloadTest, addressThatIsMissingIsAskedForAgain) {
  device_.route("/video.action", [this](const OriginRequest&, OriginConnection& out) {
    out.respond(200, detailRequests() < 3 ? R"({"status": 200, "data": {}})" : detail_);
  });
  finished(add(params()));
  EXPECT_EQ(detailRequests(), 3U);
}

TEST_F(ZRShareTaskRunnerDownloadTest, fullDiskIsAnErrorBeforeAnythingIsAskedFor) {
  fillDisk();
  for (const unsigned subtitles : {0U, 1U}) {
    serveSubtitles(subtitles);
    const auto task = failed(add(params()), diskFull_);
    manager()->removeTask(task);
  }
  EXPECT_EQ(subtitlesAskedFor(), "");
  EXPECT_EQ(videoRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerDownloadTest, restartedTaskContinuesTheVideoAndKeepsTheCover) {
  addInMidway();
  restart();
  const std::size_t covers = coverRequests();
  device_.serveFile("/v", {.bytes = bytes_, .etag = "\"v1\""});
  const auto task = unfinishedOf<Runner>();
  EXPECT_EQ(task->executingPhase(), 0U);
  manager()->resumeTask(task);
  finished(task);
  EXPECT_EQ(device_.requestsTo("/v").back().header("Range"), "bytes=2500-");
  EXPECT_EQ(readFile(file("movie")), bytes_);
  EXPECT_EQ(std::tuple(detailRequests(), coverRequests()), std::tuple(2U, covers));
}

TEST_F(ZRShareTaskRunnerDownloadTest, deviceThatGoesAwayIsLookedForWhileRetriesRemain) {
  const auto task = addInMidway();
  device_.route("/video.action", [](const OriginRequest&, OriginConnection& out) { out.reset(); });
  gate_.open();
  failed(task, connectionLost_);
  EXPECT_EQ(task->executingPhase(), 0U);
  EXPECT_EQ(fs::file_size(file("movie")), 2500U);
}

}  // namespace
