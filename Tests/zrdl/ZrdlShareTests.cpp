#include "ZrdlSite.h"

class ZrdlShare : public ZrdlSite {};

TEST_F(ZrdlShare, aSharedVideoArrivesWithCoverAndSubtitle) {
  const OriginFile video{.bytes = patternBytes(4'000'000), .etag = "\"v1\"", .lastModified = ""};
  serveShare(Json::array({{{"name", "movie.en.srt"}, {"url", origin_.url("/en.srt")}}}));
  origin_.serve("/en.srt", "a subtitle");
  origin_.route("/share.mp4", [this, video](const OriginRequest& request, OriginConnection& out) {
    out.wait(gate_);
    out.respondFile(request, video);
  });
  ZrdlProcess process(with("share v1 --album-id a1 --name movie.mp4 --host " + origin_.url("")));
  ASSERT_TRUE(process.waitFor([this](const Json&) { return exists(shareFile("v1.jpg")); }));  // nothing waits for it
  gate_.open();
  ASSERT_EQ(process.wait(), 0) << process.err();
  EXPECT_EQ(process.events("created"), Json::parse(R"([{"event":"created","taskId":"share-1","kind":"share"}])"));
  const Json finished = {{"event", "finished"},
                         {"taskId", "share-1"},
                         {"relative", "a1/v1/movie.mp4"},
                         {"path", shareFile("movie.mp4").string()}};
  EXPECT_EQ(process.events("finished"), Json::array({finished}));
  EXPECT_TRUE(readFile(shareFile("movie.mp4")) == video.bytes);
  EXPECT_EQ(readFile(shareFile("movie.en.srt")), "a subtitle");
  EXPECT_EQ(readFile(shareFile("v1.jpg")), "a picture");
  EXPECT_EQ(requestsTo("/ping"), 1U);
  EXPECT_EQ(listed().at(0).at("title"), "movie.mp4");

  ASSERT_EQ(ZrdlProcess(with("rm share-1")).wait(), 0);
  EXPECT_FALSE(exists(shareFile("")));
}
