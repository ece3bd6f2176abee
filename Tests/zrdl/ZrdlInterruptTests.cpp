#include <array>
#include <future>
#include <memory>

#include "ZrdlSite.h"

/// One task of each kind on the origin, which was asked for the path and does not answer when the signal comes.
class ZrdlInterrupt : public ZrdlSite, public testing::WithParamInterface<std::string> {
 protected:
  void serveAll() {
    know(1, video_.bytes.size());
    for (const char* const path : {"/1.mp4", "/share.mp4"}) origin_.serveFile(path, video_);
    serveHls(2);
    serveShare();
  }

  const OriginFile video_{.bytes = patternBytes(400'000), .etag = "\"v\""};
};

TEST_P(ZrdlInterrupt, losesNothing) {
  const std::string& held = GetParam();
  serveAll();
  const auto reached = std::make_shared<std::promise<void>>();
  origin_.route(held, [reached](const OriginRequest&, OriginConnection& out) {
    reached->set_value();
    out.stall();
  });
  writeFile(home_ / "batch", oneOfEachKind());
  ZrdlProcess process(with(hlsOptions() + " --max 2 batch " + home_ / "batch"));
  ASSERT_EQ(reached->get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  ASSERT_TRUE(process.waitFor([](const Json& event) { return event.value("kind", "") == "share"; }));  // all are added
  process.signal(std::array{SIGINT, SIGTERM, SIGHUP}.at(held.size() % 3));  // each of them for some path
  EXPECT_EQ(process.wait(), 130) << process.err();
  const int ended = static_cast<int>(process.events("finished").size());
  EXPECT_EQ(summaryOf(process), (std::vector<int>{ended, 0, 0, 0}));

  serveAll();
  ZrdlProcess resumed(with(hlsOptions() + " resume"));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err() << resumed.out();
  EXPECT_EQ(summaryOf(resumed), (std::vector<int>{3 - ended, 0, 0, 0}));
  EXPECT_TRUE(readFile(file(1)) == video_.bytes);
  EXPECT_TRUE(readFile(shareFile("movie.mp4")) == video_.bytes);
  expectWholeHls();
}

INSTANTIATE_TEST_SUITE_P(Phases, ZrdlInterrupt,
                         testing::Values("/v4/video/info/1.json", "/p/1.m3u8", "/p/s0.ts", "/p/s1.ts", "/1.mp4",
                                         "/video.action", "/share.mp4"));

/// Tasks are being added, each with several lines of output, of which the pipe holds one: a signal, sent while nobody
/// reads, comes in the middle.
class ZrdlFlood : public ZrdlSite {
 protected:
  static constexpr int kTasks = 300;

  void SetUp() override {
    // In the middle of the second task: more lines are to come, whenever the signal does.
    const auto isSecond = [](const Json& event) { return event.value("msg", "").starts_with("add:【73vid:2,"); };
    ASSERT_TRUE(adding_.waitFor(isSecond));
  }

  /// The command line that adds them; none of the videos is known.
  std::vector<std::string> adding() const {
    writeFile(home_ / "none.json", "{}");
    return with("--mp4-info " + home_ / "none.json" + " batch " + batchOf(kTasks));
  }

  ZrdlProcess adding_{adding(), "/dev/null", true};
};

TEST_F(ZrdlFlood, anInterruptTellsWhereItStopped) {
  adding_.signal(SIGINT);
  EXPECT_EQ(adding_.wait(), 130);
  const std::size_t added = adding_.events("created").size();
  EXPECT_EQ(listed().size(), added);
  const std::string first = "zrdl: interrupted: nothing was added from line " + std::to_string(added + 1) + " on\n";
  EXPECT_NE(adding_.err().find(first), std::string::npos) << adding_.err();

  EXPECT_EQ(ZrdlProcess(adding()).wait(), 1);
  std::vector<std::string> ids;
  std::string all;
  for (const Json& task : listed()) all += " " + ids.emplace_back(task.at("taskId").get<std::string>());
  EXPECT_EQ(ids.size(), kTasks);
  ZrdlProcess removing(with("rm" + all), "/dev/null", true);
  ASSERT_TRUE(removing.waitFor([](const Json& event) { return event.value("event", "") == "removed"; }));
  removing.signal(SIGTERM);
  EXPECT_EQ(removing.wait(), 130);
  const std::size_t removed = removing.events("removed").size();
  EXPECT_EQ(listed().size(), kTasks - removed);
  EXPECT_EQ(removing.err(), "zrdl: interrupted: nothing was removed from " + ids.at(removed) + " on\n");
}

TEST_F(ZrdlFlood, aSecondSignalEndsARunThatHangs) {
  adding_.signal(SIGINT);
  adding_.signal(SIGTERM);
  EXPECT_EQ(adding_.waitUnread(), 130);
  EXPECT_GE(listed().size(), adding_.events("created").size());
}

TEST_F(ZrdlFlood, aReaderThatGoesEndsTheProcessQuietly) {
  adding_.stopReading();
  EXPECT_EQ(adding_.wait(), 1000 + SIGPIPE);
  EXPECT_EQ(adding_.err(), "");
  EXPECT_GE(listed().size(), adding_.events("created").size());
}
