#include "ZrdlSite.h"

/// The demonstration, as a user without a terminal sees it.
class ZrdlDemo : public ZrdlSite {};

TEST_F(ZrdlDemo, downloadsItsVideoAnewEachTime) {
  const std::filesystem::path video =
      home_.path() / "d" / "support" / "com.velmor.zrdl" / "download" / "73-1-1" / "1-1.mp4";
  for (const bool again : {false, true}) {
    ZrdlProcess process({"demo", home_ / "d"});
    ASSERT_EQ(process.wait(), 0) << process.err();
    EXPECT_EQ(process.out().find("removed") != std::string::npos, again);
    EXPECT_NE(process.out().find("\n" + video.string() + "\n1 finished, 0 failed, 0 stalled, 0 refused\n"),
              std::string::npos)
        << process.out();
    const std::string bytes = readFile(video);
    ASSERT_EQ(bytes.size(), 20U * 1024 * 1024);
    EXPECT_EQ(bytes.substr(4, 8), "ftypisom");
    EXPECT_EQ(bytes.substr(28, 4), "mdat");
  }
}
