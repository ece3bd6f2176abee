#include <array>
#include <atomic>

#include <sys/mount.h>

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

  bool hasCover() const { return readFile(file("v1.jpg")) == cover_; }
  std::size_t coverRequests() const { return requests(device_, "/coverImg.action"); }
  std::size_t videoRequests() const { return requests(device_, "/v"); }
};

TEST_F(ZRShareTaskRunnerDownloadTest, lanOnlyTaskFetchesDetailSubtitlesFromTheLastThenVideo) {
  serveSubtitles(3);
  const auto covers = std::make_shared<std::atomic<int>>(0);
  device_.route("/coverImg.action", [this, covers](const OriginRequest&, OriginConnection& out) {
    out.respond(++*covers == 1 ? 404 : 200, cover_);  // the second one comes with the video
    gate_.open();
  });
  device_.route("/2.srt", [this](const OriginRequest&, OriginConnection& out) {
    out.wait(gate_);
    out.respond(200, "subtitle 2.srt");
  });
  const auto task = add(params({{"shareUrl", relay_.url("/share")}}));
  ASSERT_TRUE(runUntil([&] { return task->isFinished() && hasCover(); }));
  EXPECT_EQ(device_.requests().front().target, "/video.action?videoId=v1");
  EXPECT_EQ(requests(device_, "/ping") + relay_.requests().size(), 0U);
  EXPECT_EQ(subtitlesAskedFor(), "210");
  for (const char* name : {"0.srt", "1.srt", "2.srt"}) EXPECT_EQ(readFile(file(name)), "subtitle " + std::string(name));
  EXPECT_EQ(readFile(file("movie")), bytes_);
  EXPECT_EQ(device_.requestsTo("/coverImg.action").front().target, "/coverImg.action?videoId=v1");
  EXPECT_EQ(std::tuple(task->expectedBytes(), task->transferedPerSecond(), task->currentDownloadProgress()),
            std::tuple(5000U, 5000, 1.0F));
  EXPECT_EQ(task->executingPhase(), 3U);
  EXPECT_TRUE(logged(0, "shareDownloadVideo:SCNetworkBaseApi GET " + device_.url("/video.action")));
  EXPECT_TRUE(logged(0, "shareDownloadSubtitle:SCNetworkDownloadApi GET " + device_.url("/2.srt")));
  EXPECT_TRUE(logged(1, "finish" + task->description()));
}

TEST_F(ZRShareTaskRunnerDownloadTest, chainEndsAtASubtitleOnDiskAlsoAfterARetry) {
  serveSubtitles(2);
  writeFile(file("1.srt"), "old");
  const auto stopped = add(params());
  ASSERT_TRUE(runUntil([&] { return hasCover(); }));
  EXPECT_TRUE(stopped->isExecuting() && stopped->executingPhase() == 1);
  EXPECT_EQ(subtitlesAskedFor(), "");
  device_.serve("/0.srt", "", 404);
  device_.route("/1.srt", [tries = std::make_shared<std::atomic<int>>(0)](const auto&, OriginConnection& out) {
    out.respond(++*tries == 1 ? 404 : 200);  // a success fills the retries again
  });
  const auto retried = add(params({{"vid", "v2"}}));
  ASSERT_TRUE(runUntil([&] { return subtitlesAskedFor() == "110" && retried->remainedFailedRetryTimes() == 2; }));
  EXPECT_EQ(videoRequests(), 0U);
}

TEST_F(ZRShareTaskRunnerDownloadTest, fullDiskIsAnErrorBeforeAnythingIsAskedFor) {
  fillDisk();
  for (const unsigned subtitles : {0U, 1U}) {
    serveSubtitles(subtitles);
    manager()->removeTask(failed(add(params()), diskFull_));
  }
  EXPECT_EQ(std::tuple(subtitlesAskedFor(), videoRequests()), std::tuple("", 0U));
}

TEST_F(ZRShareTaskRunnerDownloadTest, pauseEndsTheRequestOfEveryPhase) {
  serveSubtitles(1);
  const std::array<const char*, 3> paths{"/video.action", "/0.srt", "/v"};
  for (const char* path : paths) serveUntilEnded(device_, path);
  const auto task = add(params());
  int expected = 0;
  for (const char* path : paths) {
    const bool isFile = path != paths[0];
    ASSERT_TRUE(runUntil([&] { return requests(device_, path) == 1; }));
    if (isFile) task->resume();  // a file's request takes the place of the one before
    ASSERT_TRUE(runUntil([&] { return requests(device_, path) == (isFile ? 2 : 1); }));
    manager()->pauseTask(task);
    expected += isFile ? 2 : 1;
    EXPECT_TRUE(runUntil([&] { return ended_ == expected; }));
    device_.serve(path, isFile ? bytes_ : detail_);
    manager()->resumeTask(task);
  }
  finished(task);
}

TEST_F(ZRShareTaskRunnerDownloadTest, onlyACoverThatAPowerCutEmptiedIsFetchedAgain) {
  writeFile(file("v2.jpg", "a1/v2"), "old");
  finished(add(params({{"vid", "v2"}})));
  EXPECT_EQ(coverRequests(), 0U);
  writeFile(file("v1.jpg"), "");
  finished(add(params()));
  EXPECT_TRUE(runUntil([&] { return hasCover(); }));
}

// What does not come although the device goes on telling of it.

struct FruitlessShare {
  const char* name;
  std::string data;      // of the detail; "@" is the device
  std::int64_t code;     // of the error; 0 when the task finishes all the same
  const char* askedFor;  // details, subtitles, videos and covers
  bool isVolumeFull = false;
};

class FruitlessShareTest : public ZRShareTaskRunnerDownloadTest, public ::testing::WithParamInterface<FruitlessShare> {
 protected:
  ~FruitlessShareTest() override { (void)::umount2(shares().c_str(), MNT_DETACH); }

  void serveData(std::string data) {
    for (std::size_t at = 0; (at = data.find('@')) != std::string::npos;) data.replace(at, 1, device_.url(""));
    device_.serve("/video.action", R"({"status": 200, "data": )" + data + "}");
  }

  /// Puts a volume without room in place of the folder of shares; false where none may be mounted.
  bool fillVolume() const {
    fs::create_directories(shares());
    if (::mount("tmpfs", shares().c_str(), "tmpfs", 0, "size=16k") != 0) return false;
    writeFile(shares() + "/fill", std::string(16384, 'x'));
    return true;
  }
};

TEST_P(FruitlessShareTest, endsAtTheFourthAttemptAndAtOnceOnAFullVolume) {
  if (GetParam().isVolumeFull && !fillVolume()) GTEST_SKIP() << "no volume may be mounted here";
  serveData(GetParam().data);
  serveInTwo(device_, "/half", bytes_, 2500, 2500);
  gate_.open();
  device_.route("/coverImg.action", [this](const OriginRequest&, OriginConnection& out) {
    loop_->post([] {});
    out.stall();
  });
  manager()->setMaxConcurrentOperationCount(0);
  add(params({{"fileSize", 2500}}));
  restart();  // without a retry, until the detail fills them
  const auto task = unfinishedOf<Runner>();
  manager()->resumeTask(task);
  if (GetParam().code != 0) {
    EXPECT_EQ(caughtError(*task).code(), GetParam().code);
  } else {
    EXPECT_EQ(finished(task)->currentDownloadProgress(), 2.0F);  // the given size is kept
  }
  const auto askedFor = [this] {
    const std::size_t videos = videoRequests() + requests(device_, "/half") + requests(device_, "/gone");
    return std::to_string(detailRequests()) + " " + subtitlesAskedFor() + " " + std::to_string(videos) + " " +
           std::to_string(coverRequests());  // no second cover while one is in flight
  };
  (void)runUntil([&] { return askedFor() == GetParam().askedFor; });  // the cover may be asked for after the end
  EXPECT_EQ(askedFor(), GetParam().askedFor);
}

const char* const kTwoBadSubtitles =
    R"({"url": "@/v", "subtitles": [{"name": "a", "url": "@/0.srt"}, {"name": "b", "url": "@/1.srt"}]})";

INSTANTIATE_TEST_SUITE_P(
    ZRShareTaskRunnerDownloadTest, FruitlessShareTest,
    ::testing::Values(FruitlessShare{"videoThatIsGone", R"({"url": "@/gone"})", 404, "4  4 1"},
                      FruitlessShare{"noAddress", "{}", 103, "4  0 1"},
                      FruitlessShare{"emptyAddress", R"({"url": ""})", -1000, "4  0 1"},
                      FruitlessShare{"addressOfNoServer", R"({"url": "file:///etc/passwd"})", -1002, "4  0 1"},
                      FruitlessShare{"videoThatBreaksOff", R"({"url": "@/half"})", 101, "4  4 1"},
                      FruitlessShare{"fullVolume", R"({"url": "@/v"})", 100, "1  1 1", true},
                      FruitlessShare{"twoSubtitlesThatFail", kTwoBadSubtitles, 0, "1 11110000 1 1"},
                      FruitlessShare{"subtitleWithoutAddress", R"({"url": "@/v", "subtitles": [{"name": "a"}]})", 103,
                                     "4  0 1"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
