#include <atomic>
#include <csignal>

#include "ZrdlSite.h"

namespace fs = std::filesystem;

/// Video 1 of the main service, in version 2: its record, its playlist and its segments on the origin.
class ZrdlHls : public ZrdlSite {
 protected:
  ZrdlHls() {
    origin_.serve("/v4/video/info/1.json", R"({"status": 200, "data": {"video_name": "clip", "url_nor": ")" +
                                               origin_.url("/p/1.m3u8?a=1") + "\"}}");
  }

  static std::string segment(int index) {
    std::string bytes = patternBytes(188 * 50, static_cast<unsigned>(index));
    bytes[0] = bytes[188] = 'G';
    return bytes;
  }

  static std::string segmentPath(int index) { return "/p/s" + std::to_string(index) + ".ts"; }

  /// Serves that many segments; the one of the number in `held_` begins and goes no further.
  void serveSegments(int count) {
    count_ = count;
    for (int index = 0; index < count; ++index) {
      origin_.route(segmentPath(index), [this, index](const OriginRequest&, OriginConnection& out) {
        if (index != held_) return out.respond(200, segment(index));
        out.send("HTTP/1.1 200 OK\r\nContent-Length: 9400\r\n\r\nG");
        out.stall();
      });
    }
    origin_.serve("/p/1.m3u8", playlist("s"));
  }

  /// A playlist whose segments are called `prefix` and their number.
  std::string playlist(const std::string& prefix) const {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n";
    for (int index = 0; index < count_; ++index) text += "#EXTINF:2,\n" + prefix + std::to_string(index) + ".ts\n";
    return text + "#EXT-X-ENDLIST\n";
  }

  /// The command line that downloads the video, with more options before the command.
  std::vector<std::string> hls(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments{"--info-base", origin_.url("/v4/video/info")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), {"hls", "1", "--site", "1", "--version", "2"});
    return with(arguments);
  }

  std::vector<std::string> plainHls() const { return hls({"--segment-base", origin_.url("/p/")}); }

  fs::path hlsFile(const std::string& name) const { return downloadFolder() / "1-2" / name; }
  std::size_t requestsTo(const std::string& path) const { return origin_.requestsTo(path).size(); }

  void expectWhole() const {
    for (int index = 0; index < count_; ++index) {
      EXPECT_TRUE(readFile(hlsFile(std::to_string(index) + ".ts")) == segment(index)) << index;
    }
    EXPECT_EQ(readFile(hlsFile("1-2.local.m3u8")), playlist(""));
    EXPECT_FALSE(fs::exists(hlsFile("1-2.net.m3u8")));
  }

  /// Writes a shell script and returns its path.
  std::string script(const std::string& text) const {
    writeFile(home_ / "decrypt.sh", text);
    return home_ / "decrypt.sh";
  }

  int count_ = 0;
  std::atomic<int> held_ = -1;
};

TEST_F(ZrdlHls, aVideoArrivesWholeWithItsLocalPlaylist) {
  serveSegments(4);
  ZrdlProcess process(hls({"--segment-base", origin_.url("/p/"), "--mkey", "K", "--cookie", "c=1; d=2", "--cdn",
                           "ver=3", "--cdn", "pt=a b=c", "--app-version", "9.8"}));
  ASSERT_EQ(process.wait(), 0) << process.err();
  expectWhole();
  EXPECT_EQ(process.events("created"),
            std::vector<Json>{Json::parse(R"({"event":"created","taskId":"1","kind":"hls"})")});
  EXPECT_EQ(process.events("finished").at(0).at("path"), hlsFile("1-2.local.m3u8").string());
  EXPECT_NE(origin_.requestsTo("/v4/video/info/1.json").at(0).target.find("sver=9.8"), std::string::npos);
  const OriginRequest request = origin_.requestsTo("/p/1.m3u8").at(0);
  EXPECT_EQ(request.target, "/p/1.m3u8?a=1&mkey=K&ver=3&pt=a%20b%3Dc");
  EXPECT_EQ(request.header("Cookie"), "c=1; d=2");

  ZrdlProcess list(with({"list"}));
  EXPECT_EQ(list.wait(), 0);
  EXPECT_EQ(list.events("task").at(0).at("bytes"), 4U * 9400);
  EXPECT_EQ(list.events("task").at(0).at("title"), "clip");

  ZrdlProcess path({"--support", home_ / "support", "path", "1"});
  EXPECT_EQ(path.wait(), 0);
  EXPECT_EQ(path.out(), hlsFile("1-2.local.m3u8").string() + "\n");

  ASSERT_EQ(ZrdlProcess(with({"rm", "1"})).wait(), 0);
  EXPECT_FALSE(fs::exists(hlsFile("")));
}

TEST_F(ZrdlHls, afterEachKillOnlyTheSegmentInFlightIsFetchedAgain) {
  serveSegments(6);
  std::size_t requests = 2;  // record and playlist
  int next = 0;
  std::vector<std::string> arguments = plainHls();
  for (const int index : {0, 3, 5}) {
    held_ = index;
    ZrdlProcess process(arguments);
    requests += static_cast<std::size_t>(index - next + 1);
    next = index;
    ASSERT_TRUE(origin_.waitForRequests(requests));
    process.signal(SIGKILL);
    EXPECT_EQ(process.wait(), 1000 + SIGKILL);
    arguments = with({"resume"});
  }
  held_ = -1;
  ZrdlProcess resumed(arguments);
  ASSERT_EQ(resumed.wait(), 0) << resumed.err();
  expectWhole();
  EXPECT_EQ(requestsTo("/p/1.m3u8"), 1U);
  for (int index = 0; index < count_; ++index) {
    EXPECT_EQ(requestsTo(segmentPath(index)), index == 0 || index == 3 || index == 5 ? 2U : 1U) << index;
  }
}

TEST_F(ZrdlHls, aCommandDecryptsWithPathsThatNoShellReads) {
  serveSegments(3);
  support_ = "su p\"p'ort $(touch gone)";
  origin_.serve("/p/1.m3u8", "!" + playlist("s"));
  const std::string command = script(
      "test $# = 3 || exit 9\n"
      "tr -d \"$1\" < \"$2\" | sed 's/^s\\([0-9]\\)/\\1/' > \"$3\"\n"
      "grep '^s' \"$2\" | sed 's|^|" +
      origin_.url("/p/") + "|'\n");
  ZrdlProcess process(hls({"--decrypt", "sh " + command + " '!'"}));
  ASSERT_EQ(process.wait(), 0) << process.err() << process.out();
  expectWhole();
}

TEST_F(ZrdlHls, aDecryptionThatFailsIsTriedFourTimes) {
  serveSegments(1);
  ZrdlProcess process(hls({"--decrypt", "sh " + script("echo http://a/; exit 3")}));
  EXPECT_EQ(process.wait(), 1) << process.err();
  EXPECT_EQ(process.events("errored").at(0).at("code"), 103);
  EXPECT_EQ(process.events("errored").at(0).at("message"), "m3u8文件解密失败");
  EXPECT_NE(process.out().find("the command ended with status 3"), std::string::npos);
  EXPECT_EQ(requestsTo("/p/1.m3u8"), 4U);
  EXPECT_EQ(requestsTo("/v4/video/info/1.json"), 2U);
  EXPECT_FALSE(fs::exists(hlsFile("1-2.net.m3u8")));
}

TEST_F(ZrdlHls, anInterruptEndsTheCommandToo) {
  serveSegments(1);
  ZrdlProcess process(hls({"--decrypt", "sh " + script("touch \"$1.seen\"; sleep 1000 & sleep 1000")}));
  const fs::path seen = hlsFile("1-2.net.m3u8.seen");
  ASSERT_TRUE(process.waitFor([&](const Json&) { return fs::exists(seen); }));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait(), 130) << process.err();  // it would wait for whoever holds the output open
}

TEST_F(ZrdlHls, aPageInPlaceOfAFileIsToldApart) {
  serveSegments(3);
  origin_.serve(segmentPath(1), "<html>" + std::string(1000, ' '));
  ZrdlProcess process(plainHls());
  EXPECT_EQ(process.wait(), 1) << process.err();
  EXPECT_EQ(process.events("errored").at(0).at("code"), 103);
  EXPECT_EQ(process.events("errored").at(0).at("message"), "TS文件校验失败");
  EXPECT_EQ(requestsTo(segmentPath(1)), 4U);

  origin_.serve("/p/1.m3u8", "<html>");
  ASSERT_EQ(ZrdlProcess(with({"rm", "1"})).wait(), 0);
  ZrdlProcess noPlaylist(plainHls());
  EXPECT_EQ(noPlaylist.wait(), 1) << noPlaylist.err();
  EXPECT_EQ(noPlaylist.events("errored").at(0).at("message"), "m3u8文件解密失败");
  EXPECT_NE(noPlaylist.out().find("the file is not a playlist"), std::string::npos);
}
