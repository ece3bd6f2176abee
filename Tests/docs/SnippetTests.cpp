#include <algorithm>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "LibraryFixture.h"
#include "LoopbackOrigin.h"
#include "Snippets.h"

namespace {

/// The player's own client, answering from a thread of its own what the test tells.
class TestSite final : public Site {
 public:
  void askForKey(std::int64_t, std::function<void(const std::optional<std::string>&)> answer) override {
    reply([answer = std::move(answer), key = key] { answer(key); });
  }
  void askForFilm(std::int64_t, int, std::function<void(const std::optional<Film>&)> answer) override {
    ++questions;
    reply([answer = std::move(answer), film = film] { answer(film); });
  }
  std::string decrypt(const std::string& encrypted) override { return encrypted; }

  std::optional<std::string> key = "K";
  std::optional<Film> film;
  int questions = 0;

 private:
  void reply(std::function<void()> answer) { threads_.emplace_back(std::move(answer)); }

  std::vector<std::jthread> threads_;
};

/// The player of the guide, on folders of its own and an origin on loopback.
class DocsSnippet : public LibraryFixture {
 protected:
  DocsSnippet() {
    ::setenv("XDG_DATA_HOME", (home_ / "data").c_str(), 1);
    ::setenv("XDG_VIDEOS_DIR", (home_ / "videos").c_str(), 1);
    introduce(origin_.url("/info"));
    setUp(playerOptions(site_, logFile_, reportCounts_));
    site_.film = Site::Film{"影片", origin_.url("/film.mp4"), "", 60, 5000};
  }
  ~DocsSnippet() override {
    endDownloads();
    ::close(wakeFd_);
  }

  /// The film's first half, and then nothing until the connection breaks.
  void serveHalf() {
    origin_.route("/film.mp4", [this](const OriginRequest&, OriginConnection& out) {
      out.send(OriginConnection::head(5000) + bytes_.substr(0, 2500));
      out.wait(gate_);
      out.reset();
    });
  }

  void serveEpisode() {
    const std::regex server("http://(cdn.example.com|img.example.com(?=/7_))");
    const std::string record =
        std::regex_replace(readFile(ZR_SOURCE_DIR "/docs/snippets/record.json"), server, origin_.url(""));
    origin_.serve("/info/7.json", std::regex_replace(record, std::regex("\n"), ""));
    origin_.serve("/7/super.m3u8", "#EXTM3U\n" + origin_.url("/a.ts") + "\n" + origin_.url("/b.ts") + "\n");
    std::string segment = patternBytes(376);
    segment[0] = segment[188] = 'G';
    for (const char* const path : {"/a.ts", "/b.ts"}) origin_.serve(path, segment);
  }

  const std::string bytes_ = patternBytes(5000);
  const int wakeFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  TestSite site_;
  std::ostringstream logFile_;
  std::map<std::int64_t, int> reportCounts_;
  OriginGate gate_;  // outlives the origin, whose threads wait for it
  LoopbackOrigin origin_;
};

TEST_F(DocsSnippet, filmArrivesOnALoopOfPollWhereTheHostSaid) {
  EXPECT_EQ(manager()->maxConcurrentOperationCount(), 2);
  origin_.serveFile("/film.mp4", {.bytes = bytes_});
  std::map<std::string, std::string> shown;
  const DownloadList list([&shown](const std::string& id, const std::string& line) { shown[id] = line; });
  const auto film = makeFilm();
  EXPECT_EQ(add(film), "已加入下载");
  EXPECT_EQ(add(makeFilm()), "已在下载列表中");
  EXPECT_EQ(add(nullptr), "无法下载");
  runWithPoll(*loop_, wakeFd_, [&film] { return film->isFinished() || film->isErrored(); });
  loop_->setWakeup({});
  EXPECT_EQ(ZRDownloadManager::downloadBasePath(), home_ / "data/com.example.player/download");
  EXPECT_EQ(readFile(film->localFullFilePath().value_or("")), bytes_);
  EXPECT_EQ(shown["73-1"], "影片 已完成");
  EXPECT_EQ(reportCounts_, (std::map<std::int64_t, int>{{201, 1}, {202, 1}}));
  EXPECT_NE(logFile_.str().find("1 finish【73vid:42"), std::string::npos);
}

TEST_F(DocsSnippet, episodeArrivesOnceItsKeyIsGiven) {
  serveEpisode();
  site_.key.reset();
  const auto episode = makeEpisode();
  add(episode);
  ASSERT_TRUE(runUntil([&episode] { return episode->isErrored(); })) << logFile_.str();
  EXPECT_EQ(episode->err()->localizedDescription(), "没有下载权限");
  EXPECT_EQ(offerFor(*episode->err()), Offer::TryAgain);

  site_.key = "K";
  goOn();
  ASSERT_TRUE(runUntil([&episode] { return episode->isFinished() || episode->isErrored(); })) << logFile_.str();
  EXPECT_EQ(readFile(episode->localFullFilePath().value_or("")), "#EXTM3U\n0.ts\n1.ts\n");
  const ZRDictionary info = episode->videoInfoDic().value_or(ZRDictionary());
  EXPECT_EQ(info["title"], ZRValue("第一集"));
  const std::string page = readFile(ZR_SOURCE_DIR "/docs/tasks.md");
  const std::size_t row = page.rfind("\n| HLS | \"");
  const std::string told = page.substr(row, page.find('\n', row + 1) - row);
  EXPECT_EQ(std::count(told.begin(), told.end(), '"'), 2 * std::distance(info.begin(), info.end()));
  for (const auto& [key, value] : info) EXPECT_NE(told.find('"' + key + '"'), std::string::npos) << key;
}

TEST_F(DocsSnippet, newLifeAsksForTheAddressAgainAndKeepsTheBytes) {
  serveHalf();
  add(makeFilm());
  const auto isHalf = [] { return manager()->allUnFinishTaskArr().at(0)->currentDownloadProgress() >= 0.5F; };
  ASSERT_TRUE(runUntil(isHalf));
  manager()->pauseAllTasks();
  origin_.serve("/film.mp4", "", 403);  // expired
  goOn();
  ASSERT_TRUE(origin_.waitForRequests(2));
  EXPECT_EQ(site_.questions, 1);
  origin_.serveFile("/new.mp4", {.bytes = bytes_, .etag = "\"v1\""});
  site_.film->url = origin_.url("/new.mp4");
  beginAgain(playerOptions(site_, logFile_, reportCounts_));
  ASSERT_TRUE(runUntil([] { return manager()->allFinishedTaskArr().size() == 1; })) << logFile_.str();
  EXPECT_EQ(site_.questions, 2);
  EXPECT_EQ(readFile(manager()->allFinishedTaskArr().at(0)->localFullFilePath().value_or("")), bytes_);
  EXPECT_EQ(origin_.requestsTo("/new.mp4").at(0).header("Range"), "bytes=2500-");
}

TEST_F(DocsSnippet, taskThatLostItsConnectionIsRemovedWithItsSlot) {
  manager()->setMaxConcurrentOperationCount(1);
  serveHalf();
  const auto film = makeFilm();
  add(film);
  gate_.open();
  ASSERT_TRUE(runUntil([&film] { return film->isErrored(); }));
  EXPECT_EQ(offerFor(*film->err()), Offer::Continue);
  const auto next = ZRDownloadTask::taskWith73Params({{"vid", 43}, {"version", 2}});
  add(next);
  EXPECT_TRUE(next->isWaiting());
  removeForGood(film);
  EXPECT_TRUE(next->isExecuting());
}

TEST_F(DocsSnippet, silentTaskIsPaused) {
  origin_.serve("/film.mp4", "", 404);
  const auto film = makeFilm();
  add(film);
  ASSERT_TRUE(runUntil([this] { return logFile_.str().find("/film.mp4") != std::string::npos; }));
  EXPECT_TRUE(film->isExecuting());
  StuckWatch watch;
  const auto start = StuckWatch::Clock::now();
  EXPECT_FALSE(watch.look(film, start));
  EXPECT_FALSE(watch.look(film, start + std::chrono::seconds(89)));
  EXPECT_TRUE(watch.look(film, start + std::chrono::seconds(90)));
  EXPECT_TRUE(film->isPaused());
}

// [a-test]
TEST_F(DocsSnippet, sharedVideoArrives) {
  origin_.serve("/video.action", R"({"status": 200, "data": {"url": ")" + origin_.url("/v") + "\"}}");
  origin_.serveFile("/v", {.bytes = bytes_});
  const auto shared = makeShared(origin_.url("/"));
  add(shared);
  ASSERT_TRUE(runUntil([&shared] { return shared->isFinished(); }));
  EXPECT_EQ(readFile(home_ / "videos/Oxwell/a1/v1/film.mp4"), bytes_);
}
// [a-test]

}  // namespace
