#include <algorithm>
#include <utility>

#include "ZrdlSite.h"

/// Input that is turned down before anything is downloaded.
class ZrdlRefusal : public ZrdlSite {};

TEST_F(ZrdlRefusal, linesThatMakeNoTaskAreRefusedOneByOne) {
  know(1, 100);
  origin_.serve("/1.mp4", patternBytes(100));
  writeFile(home_ / "batch", R"(no JSON
[1]

{"kind":"mp4","vid":1,"version":1}
{"kind":"mp4","vid":1,"version":1}
{"kind":"mp4","vid":0,"version":1}
{"kind":"mp4","vid":{"a":1},"version":1}
{"kind":"film","vid":1,"version":1}
{"kind":7}
{"kind":"share","vid":"v"}
{"kind":"share","vid":"v","albumId":"it's","videoName":"n","host":"http://a/"})");
  const std::string complaints =
      "zrdl: line 1: refused: it is not a JSON object\n"
      "zrdl: line 2: refused: it is not a JSON object\n"
      "zrdl: line 5: refused: exists already; an unfinished one goes on with `zrdl resume`\n"
      "zrdl: line 6: refused: 视频vid不合法\n"
      "zrdl: line 7: refused: 视频vid不合法\n"
      "zrdl: line 8: refused: its \"kind\" is not \"hls\", \"mp4\" or \"share\"\n"
      "zrdl: line 9: refused: its \"kind\" is not \"hls\", \"mp4\" or \"share\"\n"
      "zrdl: line 10: refused: a share needs \"vid\" and \"albumId\"\n"
      "zrdl: line 11: refused: the store takes no ' in \"albumId\"\n";
  ZrdlProcess json(with("batch " + home_ / "batch"));
  EXPECT_EQ(json.wait(), 1);
  EXPECT_EQ(json.err(), complaints);
  const std::string bad = "parameters";
  EXPECT_EQ(json.values("refused", "reason"), Json({bad, bad, "exists", bad, bad, bad, bad, bad, "store"}));
  EXPECT_EQ(json.values("refused", "line"), Json({1, 2, 5, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(summaryOf(json), (std::vector<int>{1, 0, 0, 9}));
  ZrdlProcess plain({"--support", home_ / "other", "--mp4-info", home_ / "info.json", "batch", home_ / "batch"});
  EXPECT_EQ(plain.wait(), 1);
  EXPECT_EQ(plain.err(), complaints);
  EXPECT_TRUE(plain.out().ends_with("\n1 finished, 0 failed, 0 stalled, 9 refused\n")) << plain.out();
}

TEST_F(ZrdlRefusal, aStoreThatCannotBeOpenedIsOneLine) {
  const std::string damaged = downloadFolder() / "zrdownloadkit.db";
  writeFile(damaged, patternBytes(8192));
  writeFile(home_ / "occupied", "a file");
  know(1, 100);
  const std::pair<std::string, std::string> stores[] = {
      {home_ / "support", damaged + ": it is damaged or no database"},
      {home_ / "occupied", home_ / "occupied/com.velmor.zrdl/download/zrdownloadkit.db" + ": Not a directory"},
  };
  const std::pair<std::string, std::size_t> commands[] = {
      {"list", 0},        {"rm 73-1", 0},           {"path 73-1", 0},          {"export 73-1 a", 0}, {"resume", 0},
      {"resume 73-1", 0}, {"mp4 1 --version 1", 1}, {"batch " + batchOf(2), 2}};  // and how many tasks they add
  for (const auto& [support, complaint] : stores) {
    for (const auto& [command, tasks] : commands) {
      for (const std::string json : {"", "--json "}) {
        SCOPED_TRACE(json + command);
        ZrdlProcess process(
            wordsOf(json + "--mp4-info " + home_ / "info.json" + " --support " + support + " " + command));
        EXPECT_EQ(process.wait(), 1);
        EXPECT_EQ(process.err(), "zrdl: cannot open " + complaint + "\n");
        EXPECT_EQ(process.values("refused", "reason"),
                  Json(std::vector<std::string>(json.empty() ? 0 : tasks, "store")));
      }
    }
  }
  EXPECT_TRUE(readFile(damaged) == patternBytes(8192));
}

TEST_F(ZrdlRefusal, whatMakesNoSenseIsToldInOneLine) {
  writeFile(home_ / "broken.json", "{\"1-1\": ");
  writeFile(home_ / "list.json", "[]");
  writeFile(home_ / "entry.json", "{\"1-1\": 5}");
  const std::string mp4 = " mp4 1 --version 1";
  const std::string hls = " --info-base http://a/ hls 1 --site 1 --version 2";
  struct Case {
    std::string line;
    std::string complaint{};  // empty for any line
    int status = 2;
  };
  const Case cases[] = {
      {"", "a command is missing (zrdl --help tells more)"},
      {"fetch", "unknown command fetch (zrdl --help tells more)"},
      {"--fetch", "unknown option --fetch (zrdl --help tells more)"},
      {"mp4", "VID is required (zrdl mp4 --help tells more)"},
      {"list --fetch", "unknown option --fetch (zrdl list --help tells more)"},
      {"list all", "unexpected argument all (zrdl list --help tells more)"},
      {"mp4 one --version 1", "VID: one is not a number in range (zrdl mp4 --help tells more)"},
      {"mp4 1 --version x", "--version = x is not a number in range (zrdl mp4 --help tells more)"},
      {"mp4 1 --version", "--version needs a value (zrdl mp4 --help tells more)"},
      {"--decrypt " + home_ / "missing" + hls, "--decrypt: " + home_ / "missing" + " is not a program"},
      {"--decrypt " + home_ / "list.json" + hls, "--decrypt: " + home_ / "list.json" + " is not executable"},
      {"--decrypt 'no-such-command --fast'" + hls, "--decrypt: no-such-command is not a command"},
      {"hls 1 --site 1 --version 2", "an HLS video needs --info-base"},
      {"mp4 1 --version 1", "an MP4 video needs --mp4-info"},
      {"--info-base ftp://a/ list",
       "--info-base: \"ftp://a/\" is not an http or https address (zrdl list --help tells more)"},
      {"--proxy ftp://a/ list",
       "--proxy: \"ftp://a/\" is not an http or socks5h address (zrdl list --help tells more)"},
      {"--limit-rate 2X list",
       "--limit-rate: \"2X\" is not a number of bytes such as 500k or 2M (zrdl list --help tells more)"},
      {"batch " + home_ / "missing", "cannot read " + home_ / "missing"},
      {"batch " + home_ / "", "cannot read " + home_ / ""},
      {"--mp4-info " + home_ / "missing" + mp4, "cannot read " + home_ / "missing"},
      {"--mp4-info " + home_ / "" + mp4, "cannot read " + home_ / ""},
      {"--mp4-info " + home_ / "broken.json" + mp4, home_ / "broken.json" + " is not JSON"},
      {"--mp4-info " + home_ / "list.json" + mp4, home_ / "list.json" + " is not a JSON object of videos"},
      {"--mp4-info " + home_ / "entry.json" + mp4, home_ / "entry.json" + ": an entry is not a JSON object"},
      {"mp4 9223372036854775808 --version 1"},
      {"--cdn =value list"},
      {"--info-base http:///b list"},
      {"--segment-base /segments/ list"},
      {"share v --album-id a --name n"},
      {"share v --album-id a --name n --host device"},
      {"rm"},
      {"path 73-1 73-2"},
      {"export 73-1"},
      {"--max 0 list"},
      {"--give-up 0 list"},
      {"--bundle-id ../elsewhere list"},
      {"--bundle-id '' list"},
      {"rm 1", "there is no task 1", 1},
      {"resume 1", "there is no task 1", 1},
      {"path 1", "there is no finished task 1", 1},
      {"export 1 film.ts", "there is no finished task 1", 1},
  };
  for (const auto& [line, complaint, status] : cases) {
    SCOPED_TRACE(line);
    ZrdlProcess process(with(line));
    EXPECT_EQ(process.wait(), status);
    if (complaint.empty()) {
      EXPECT_EQ(std::count(process.err().begin(), process.err().end(), '\n'), 1) << process.err();
    } else {
      EXPECT_EQ(process.err(), "zrdl: " + complaint + "\n");
    }
    EXPECT_EQ(process.out().empty() && !std::filesystem::exists(home_ / "support"), status == 2) << "it was begun";
  }
}
