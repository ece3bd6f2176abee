#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LocalPlaylist.h"

namespace site {

TEST(LocalPlaylist, addressesBecomeFilesAndTagsStay) {
  const auto result = LocalPlaylist::of(
      "\xEF\xBB\xBF#EXTM3U\r\n#EXT-X-VERSION:3\r\n#EXT-X-KEY:METHOD=NONE\r\n\r\n# a comment\r\n"
      "#EXTINF:2.0,title\r\na.ts?x=1&y='2'\r\n#EXTINF:2.0,\n//b/c.ts\n#EXT-X-MEDIA-SEQUENCE:0\n/d.ts\n"
      "https://e/%E4.ts\n?y\n演 示.ts\n#EXT-X-ENDLIST",
      "http://h/p/l.m3u8");
  const auto& local = std::get<LocalPlaylist>(result);
  EXPECT_EQ(
      local.text,
      "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-KEY:METHOD=NONE\n\n# a comment\n"
      "#EXTINF:2.0,title\n0.ts\n#EXTINF:2.0,\n1.ts\n#EXT-X-MEDIA-SEQUENCE:0\n2.ts\n3.ts\n4.ts\n5.ts\n#EXT-X-ENDLIST\n");
  EXPECT_EQ(local.segments,
            (std::vector<std::string>{"http://h/p/a.ts?x=1&y='2'", "http://b/c.ts", "http://h/d.ts", "https://e/%E4.ts",
                                      "http://h/p/l.m3u8?y", "http://h/p/%e6%bc%94%20%e7%a4%ba.ts"}));
}

TEST(LocalPlaylist, referencesMeanTogetherWhatEachMeansAlone) {
  using namespace std::string_literals;
  const std::string references[] = {"0.ts",       "1.ts",        "2.ts?k=v",    "3.ts?",    "?q",       "..",
                                    ".h",         "p.m3u8#4.ts", "a%2e",        "a b",      "b/0.ts",   "1.ts",
                                    "http://e/0", "http://e/1",  "http://e/?q", "http://e", "http://h", "//e",
                                    "//h",        "#/",          "x/",          "x\0/x"s,   "x\0/y"s};
  std::string playlist = "#EXTM3U\n";
  std::vector<std::string> alone;
  for (const std::string& reference : references) {
    playlist += reference + "\n";
    const auto result = LocalPlaylist::of("#EXTM3U\n" + reference, "http://h/p/l.m3u8");
    if (const auto* local = std::get_if<LocalPlaylist>(&result)) alone.push_back(local->segments.front());
  }
  EXPECT_EQ(alone.size(), std::size(references) - 1) << "all but a comment";
  EXPECT_EQ(std::get<LocalPlaylist>(LocalPlaylist::of(playlist, "http://h/p/l.m3u8")).segments, alone);
}

TEST(LocalPlaylist, whatIsNoPlainPlaylistIsRefusedWithAReason) {
  const std::string head = "#EXTM3U\n#EXTINF:2,\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", "not a playlist"},
      {"<!DOCTYPE html>", "not a playlist"},
      {"#EXTM3U8\nhttp://a/0.ts", "not a playlist"},
      {"#EXTM3U\n#EXT-X-ENDLIST\n", "no segments"},
      {head + "0.ts\n", "0.ts"},
      {head + "file:///etc/passwd\n", "file:///etc/passwd"},
      {head + "http:g\n", "http:g"},
      {"#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nhttp://a/l.m3u8", "master"},
      {"#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"http://a/k\"\n#EXTINF:2,\nhttp://a/0.ts", "encrypted"},
      {"#EXTM3U\n#EXT-X-MAP:URI=\"http://a/i\"\n#EXTINF:2,\nhttp://a/0.m4s", "initialisation"},
      {head + "#EXT-X-BYTERANGE:10@0\nhttp://a/0.ts", "bytes"},
  };
  for (const auto& [playlist, reason] : cases) {
    const auto result = LocalPlaylist::of(playlist, "");
    EXPECT_THAT(std::get<std::string>(result), testing::HasSubstr(reason)) << playlist;
  }
}

}  // namespace site
