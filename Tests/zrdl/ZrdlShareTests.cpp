#include <csignal>

#include "ZrdlSite.h"

namespace fs = std::filesystem;

/// Video "v1" of album "a1" on a device that the origin plays, together with the share service that knows it.
class ZrdlShare : public ZrdlSite {
 protected:
  ZrdlShare() {
    origin_.serve("/albumdetail.action", answer(R"({"shareUrl": ")" + origin_.url("/share") + "\"}"));
    origin_.serve("/share", answer(R"({"lan": ")" + origin_.url("") + "\"}"));
    origin_.serve("/ping", answer("\"pong\""));
    origin_.serve("/coverImg.action", "a picture");
    origin_.serve("/en.srt", "a subtitle");
  }

  static std::string answer(const std::string& data) { return R"({"status": 200, "data": )" + data + "}"; }

  void serveDetail(const std::string& subtitles) {
    origin_.serve("/video.action",
                  answer(R"({"url": ")" + origin_.url("/1.mp4") + R"(", "subtitles": )" + subtitles + "}"));
  }

  fs::path shareFile(const std::string& name) const { return home_.path() / "movies" / "Oxwell" / "a1" / "v1" / name; }
  std::size_t requestsTo(const std::string& path) const { return origin_.requestsTo(path).size(); }

  const OriginFile video_{.bytes = patternBytes(4'000'000), .etag = "\"v1\"", .lastModified = ""};
};

TEST_F(ZrdlShare, aSharedVideoArrivesWithCoverAndSubtitle) {
  serveDetail(R"([{"name": "movie.en.srt", "url": ")" + origin_.url("/en.srt") + "\"}]");
  origin_.route("/1.mp4", [this, video = video_](const OriginRequest& request, OriginConnection& out) {
    out.wait(gate_);
    out.respondFile(request, video);
  });
  ZrdlProcess process(with({"share", "v1", "--album-id", "a1", "--name", "movie.mp4", "--host", origin_.url("")}));
  ASSERT_TRUE(process.waitFor([&](const Json&) { return fs::exists(shareFile("v1.jpg")); }));  // nothing waits for it
  gate_.open();
  ASSERT_EQ(process.wait(), 0) << process.err();
  EXPECT_EQ(process.events("created"),
            std::vector<Json>{Json::parse(R"({"event":"created","taskId":"share-1","kind":"share"})")});
  const Json finished = {{"event", "finished"},
                         {"taskId", "share-1"},
                         {"relative", "a1/v1/movie.mp4"},
                         {"path", shareFile("movie.mp4").string()}};
  EXPECT_EQ(process.events("finished"), std::vector<Json>{finished});
  EXPECT_TRUE(readFile(shareFile("movie.mp4")) == video_.bytes);
  EXPECT_EQ(readFile(shareFile("movie.en.srt")), "a subtitle");
  EXPECT_EQ(readFile(shareFile("v1.jpg")), "a picture");
  EXPECT_EQ(requestsTo("/ping"), 1U);

  ZrdlProcess list(with({"list"}));
  EXPECT_EQ(list.wait(), 0);
  EXPECT_EQ(list.events("task").at(0).at("title"), "movie.mp4");

  ASSERT_EQ(ZrdlProcess(with({"rm", "share-1"})).wait(), 0);
  EXPECT_FALSE(fs::exists(shareFile("")));
}

TEST_F(ZrdlShare, afterAKillTheVideoGoesOnAndTheCoverStays) {
  serveDetail("[]");
  serveHalf(1, video_);
  writeFile(home_ / "batch",
            R"({"kind":"share","vid":"v1","albumId":"a1","videoName":"movie.mp4","lanOnly":true,"host":")" +
                origin_.url("/") + "\"}\n");
  ZrdlProcess process(with({"batch", home_ / "batch"}));
  ASSERT_TRUE(process.waitFor(
      [&](const Json& event) { return event.value("progress", 0.0) > 0.25 && fs::exists(shareFile("v1.jpg")); }));
  process.signal(SIGKILL);
  EXPECT_EQ(process.wait(), 1000 + SIGKILL);
  const std::size_t onDisk = fs::file_size(shareFile("movie.mp4"));
  const std::size_t covers = requestsTo("/coverImg.action");

  origin_.serveFile("/1.mp4", video_);
  ZrdlProcess resumed(with({"resume"}));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err();
  EXPECT_TRUE(readFile(shareFile("movie.mp4")) == video_.bytes);
  EXPECT_EQ(origin_.requestsTo("/1.mp4").at(1).header("Range"), "bytes=" + std::to_string(onDisk) + "-");
  EXPECT_EQ(requestsTo("/video.action"), 2U);
  EXPECT_EQ(requestsTo("/coverImg.action"), covers);
  EXPECT_EQ(requestsTo("/share"), 0U);
}
