#include "ZrdlSite.h"

/// The demonstration, as a user without a terminal sees it.
class ZrdlDemo : public ZrdlSite {};

TEST_F(ZrdlDemo, downloadsATaskOfEachKindAnewEachTime) {
  const std::string downloads = home_ / "d/support/com.velmor.zrdl/download/";
  const std::string share = home_ / "d/movies/Oxwell/zrdl/demo/";
  for (const bool again : {false, true}) {
    ZrdlProcess process({"demo", home_ / "d"});
    ASSERT_EQ(process.wait(), 0) << process.err() << process.out();
    EXPECT_EQ(process.out().find("removed") != std::string::npos, again);
    EXPECT_NE(process.out().find("\n3 finished, 0 failed, 0 stalled, 0 refused\n"), std::string::npos);
    for (const auto& path : {downloads + "1-2/1-2.local.m3u8", downloads + "73-1-1/1-1.mp4", share + "LAN 演示.mp4"}) {
      EXPECT_NE(process.out().find("\n" + path + "\n"), std::string::npos) << process.out();
    }
    EXPECT_EQ(readFile(downloads + "1-2/2.ts")[188], 'G');
    EXPECT_EQ(readFile(downloads + "73-1-1/1-1.mp4").substr(4, 8), "ftypisom");
    EXPECT_EQ(readFile(share + "demo.jpg").substr(0, 2), "\xFF\xD8");
    EXPECT_TRUE(readFile(share + "中文.srt").ends_with("演示\n"));
  }
}
