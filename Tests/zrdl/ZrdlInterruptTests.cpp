#include <atomic>
#include <csignal>
#include <future>
#include <memory>

#include "ZrdlSite.h"

namespace fs = std::filesystem;

namespace {

/// Where a download is when the signal comes: the origin was asked for `held` and does not answer.
struct Phase {
  const char* name;
  const char* held;
  int signal;
};

void PrintTo(const Phase& phase, std::ostream* out) {
  *out << phase.held << ", signal " << phase.signal;
}

constexpr std::size_t kSegments = 2;

/// The first request to `path` gets no answer. Shared with the origin's threads.
struct Hold {
  explicit Hold(std::string heldPath) : path(std::move(heldPath)) {}

  const std::string path;
  std::atomic<bool> isOn = true;
  std::promise<void> reached;
};

std::string segment(std::size_t index) {
  std::string bytes = patternBytes(188 * 50, static_cast<unsigned>(index));
  bytes[0] = bytes[188] = 'G';
  return bytes;
}

}  // namespace

/// One task of each kind on the origin.
class ZrdlInterrupt : public ZrdlSite, public testing::WithParamInterface<Phase> {
 protected:
  ZrdlInterrupt() {
    know(1, video_.bytes.size());
    holdVideo("/1.mp4");
    holdText("/v4/video/info/1.json",
             R"({"status": 200, "data": {"video_name": "clip", "url_nor": ")" + origin_.url("/p/1.m3u8") + "\"}}");
    std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n";
    for (std::size_t index = 0; index < kSegments; ++index) {
      const std::string name = "s" + std::to_string(index) + ".ts";
      playlist += "#EXTINF:2,\n" + name + "\n";
      holdText("/p/" + name, segment(index));
    }
    holdText("/p/1.m3u8", playlist + "#EXT-X-ENDLIST\n");
    holdText("/video.action", R"({"status": 200, "data": {"url": ")" + origin_.url("/share.mp4") + R"("}})");
    holdVideo("/share.mp4");
    writeFile(home_ / "batch",
              R"({"kind":"mp4","vid":1,"version":1})"
              "\n"
              R"({"kind":"hls","vid":1,"site":1,"version":2})"
              "\n"
              R"({"kind":"share","vid":"v","albumId":"a","videoName":"v.mp4","lanOnly":true,"host":")" +
                  origin_.url("/") + "\"}\n");
  }

  void hold(const std::string& path, const LoopbackOrigin::Handler& answer) {
    origin_.route(path, [hold = hold_, path, answer](const OriginRequest& request, OriginConnection& out) {
      if (path != hold->path || !hold->isOn.exchange(false)) return answer(request, out);
      hold->reached.set_value();
      out.stall();
    });
  }

  void holdVideo(const std::string& path) {
    hold(path,
         [video = video_](const OriginRequest& request, OriginConnection& out) { out.respondFile(request, video); });
  }

  void holdText(const std::string& path, const std::string& body) {
    hold(path, [body](const OriginRequest&, OriginConnection& out) { out.respond(200, body); });
  }

  std::vector<std::string> all(const std::vector<std::string>& arguments) const {
    std::vector<std::string> line{"--info-base", origin_.url("/v4/video/info"), "--segment-base", origin_.url("/p/")};
    line.insert(line.end(), arguments.begin(), arguments.end());
    return with(line);
  }

  const OriginFile video_{.bytes = patternBytes(400'000), .etag = "\"v\"", .lastModified = ""};
  const std::shared_ptr<Hold> hold_ = std::make_shared<Hold>(GetParam().held);
};

TEST_P(ZrdlInterrupt, losesNothing) {
  ZrdlProcess process(all({"batch", home_ / "batch"}));
  ASSERT_EQ(hold_->reached.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  ASSERT_TRUE(process.waitFor([](const Json& event) { return event.value("kind", "") == "share"; }));  // all are added
  process.signal(GetParam().signal);
  EXPECT_EQ(process.wait(), 130) << process.err();
  EXPECT_EQ(process.events("summary").size(), 1U);

  ZrdlProcess resumed(all({"resume"}));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err() << resumed.out();
  EXPECT_TRUE(readFile(file(1)) == video_.bytes);
  EXPECT_TRUE(readFile(home_.path() / "movies/Oxwell/a/v/v.mp4") == video_.bytes);
  for (std::size_t index = 0; index < kSegments; ++index) {
    EXPECT_TRUE(readFile(downloadFolder() / "1-2" / (std::to_string(index) + ".ts")) == segment(index)) << index;
  }
  EXPECT_TRUE(fs::exists(downloadFolder() / "1-2" / "1-2.local.m3u8"));
}

INSTANTIATE_TEST_SUITE_P(Phases, ZrdlInterrupt,
                         testing::Values(Phase{"record", "/v4/video/info/1.json", SIGINT},
                                         Phase{"playlist", "/p/1.m3u8", SIGTERM},
                                         Phase{"firstSegment", "/p/s0.ts", SIGHUP},
                                         Phase{"lastSegment", "/p/s1.ts", SIGINT}, Phase{"mp4", "/1.mp4", SIGTERM},
                                         Phase{"shareDetail", "/video.action", SIGINT},
                                         Phase{"share", "/share.mp4", SIGHUP}),
                         [](const auto& phase) { return std::string(phase.param.name); });

/// Much more output than the pipe holds, so that a signal, sent while nobody reads, comes in the middle.
class ZrdlFlood : public ZrdlSite {
 protected:
  static constexpr int kTasks = 300;
  static constexpr int kPipeSize = 4096;

  ZrdlFlood() {
    std::vector<int> vids(kTasks);
    for (int at = 0; at < kTasks; ++at) vids[static_cast<std::size_t>(at)] = at + 1;
    batch_ = batchOf(vids);
  }

  std::vector<std::string> storedIds() const {
    ZrdlProcess list(with({"list"}));
    EXPECT_EQ(list.wait(), 0);
    std::vector<std::string> ids;
    for (const Json& task : list.events("task")) ids.push_back(task.at("taskId"));
    return ids;
  }

  std::string batch_;
};

TEST_F(ZrdlFlood, anInterruptWhileTasksAreAddedOrRemovedTellsWhereItStopped) {
  ZrdlProcess added(with({"batch", batch_}), "/dev/null", kPipeSize);
  ASSERT_TRUE(added.waitFor([](const Json& event) { return event.value("event", "") == "created"; }));
  added.signal(SIGINT);
  EXPECT_EQ(added.wait(), 130);
  EXPECT_EQ(storedIds().size(), added.events("created").size());
  EXPECT_NE(added.err().find("zrdl: interrupted: nothing was added from line " +
                             std::to_string(added.events("created").size() + 1) + " on\n"),
            std::string::npos)
      << added.err();

  ZrdlProcess rest(with({"batch", batch_}));
  EXPECT_EQ(rest.wait(), 1);  // no video is known
  std::vector<std::string> arguments = storedIds();
  EXPECT_EQ(arguments.size(), kTasks);
  arguments.insert(arguments.begin(), "rm");
  ZrdlProcess removed(with(arguments), "/dev/null", kPipeSize);
  ASSERT_TRUE(removed.waitFor([](const Json& event) { return event.value("event", "") == "removed"; }));
  removed.signal(SIGTERM);
  EXPECT_EQ(removed.wait(), 130);
  const std::size_t gone = removed.events("removed").size();
  EXPECT_EQ(storedIds().size(), kTasks - gone);
  EXPECT_EQ(removed.err(), "zrdl: interrupted: nothing was removed from " + arguments.at(gone + 1) + " on\n");
}

TEST_F(ZrdlFlood, aSecondSignalEndsARunThatHangs) {
  ZrdlProcess process(with({"batch", batch_}), "/dev/null", kPipeSize);
  ASSERT_TRUE(process.waitFor([](const Json& event) { return event.value("event", "") == "created"; }));
  process.signal(SIGINT);
  process.signal(SIGTERM);
  EXPECT_EQ(process.waitUnread(), 130);
  EXPECT_GE(storedIds().size(), process.events("created").size());
}

TEST_F(ZrdlFlood, aReaderThatGoesEndsTheProcessQuietly) {
  ZrdlProcess process(with({"batch", batch_}), "/dev/null", kPipeSize);
  ASSERT_TRUE(process.waitFor([](const Json& event) { return event.value("event", "") == "created"; }));
  process.stopReading();
  EXPECT_EQ(process.wait(), 1000 + SIGPIPE);
  EXPECT_EQ(process.err(), "");
  EXPECT_GE(storedIds().size(), process.events("created").size());
}
