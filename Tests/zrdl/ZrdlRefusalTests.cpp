#include "ZrdlSite.h"

/// Input that is turned down before anything is downloaded.
class ZrdlRefusal : public ZrdlSite {
 protected:
  static std::vector<std::string> reasons(const ZrdlProcess& process) {
    std::vector<std::string> all;
    for (const Json& event : process.events("refused")) all.push_back(event.at("reason"));
    return all;
  }
};

TEST_F(ZrdlRefusal, linesThatMakeNoTaskAreRefusedOneByOne) {
  know(1, 100);
  origin_.serve("/1.mp4", patternBytes(100));
  writeFile(home_ / "batch",
            "no JSON\n"
            "[1]\n"
            "\n"
            R"({"kind":"mp4","vid":1,"version":1})"
            "\n"
            R"({"kind":"mp4","vid":1,"version":1})"
            "\n"
            R"({"kind":"mp4","vid":0,"version":1})"
            "\n"
            R"({"kind":"mp4","vid":{"a":1},"version":1})"
            "\n"
            R"({"kind":"film","vid":1,"version":1})"
            "\n"
            R"({"kind":7})");
  ZrdlProcess process(with({"batch", home_ / "batch"}));
  EXPECT_EQ(process.wait(), 1) << process.err();
  const std::string bad = "parameters";
  EXPECT_EQ(reasons(process), (std::vector<std::string>{bad, bad, "exists", bad, bad, bad, bad}));
  EXPECT_EQ(summaryOf(process), (std::vector<int>{1, 0, 0, 7}));
}

TEST_F(ZrdlRefusal, aStoreThatCannotBeOpenedRefusesTheTask) {
  writeFile(downloadFolder() / "zrdownloadkit.db", patternBytes(8192));
  ZrdlProcess notADatabase(with({"mp4", "1", "--version", "1"}));
  EXPECT_EQ(notADatabase.wait(), 1) << notADatabase.err();
  EXPECT_EQ(reasons(notADatabase), std::vector<std::string>{"store"});
  EXPECT_TRUE(readFile(downloadFolder() / "zrdownloadkit.db") == patternBytes(8192));

  writeFile(home_ / "occupied", "a file");
  ZrdlProcess noFolder({"--json", "--support", home_ / "occupied", "mp4", "1", "--version", "1"});
  EXPECT_EQ(noFolder.wait(), 1) << noFolder.err();
  EXPECT_EQ(reasons(noFolder), std::vector<std::string>{"store"});
}

TEST_F(ZrdlRefusal, aStoreThatCannotBeOpenedFailsEveryCommandWithOneLine) {
  writeFile(downloadFolder() / "zrdownloadkit.db", patternBytes(8192));
  const std::string database = downloadFolder() / "zrdownloadkit.db";
  const std::vector<std::vector<std::string>> commands{{"list"},
                                                       {"rm", "73-1"},
                                                       {"path", "73-1"},
                                                       {"resume"},
                                                       {"resume", "73-1"},
                                                       {"mp4", "1", "--version", "1"},
                                                       {"batch", batchOf({1, 2})}};
  for (std::vector<std::string> command : commands) {
    for (const bool json : {false, true}) {
      std::vector<std::string> line{"--support", home_ / "support"};
      if (json) line.emplace_back("--json");
      line.insert(line.end(), command.begin(), command.end());
      ZrdlProcess process(line);
      EXPECT_EQ(process.wait(), 1) << testing::PrintToString(line);
      EXPECT_EQ(process.err(), "zrdl: cannot open " + database + ": it is damaged or no database\n");
    }
  }
  writeFile(home_ / "occupied", "a file");
  ZrdlProcess noFolder({"--support", home_ / "occupied", "list"});
  EXPECT_EQ(noFolder.wait(), 1);
  EXPECT_EQ(noFolder.err(), "zrdl: cannot open " + (home_ / "occupied") +
                                "/com.velmor.zrdl/download/zrdownloadkit.db: Not a directory\n");
}

TEST_F(ZrdlRefusal, complaintsSayWhatIsWrong) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{}, "a command is missing (zrdl --help tells more)"},
      {{"fetch"}, "unknown command fetch (zrdl --help tells more)"},
      {{"--fetch"}, "unknown option --fetch (zrdl --help tells more)"},
      {{"mp4"}, "VID is required (zrdl mp4 --help tells more)"},
      {{"mp4", "one", "--version", "1"}, "VID: one is not a number in range (zrdl mp4 --help tells more)"},
      {{"mp4", "1", "--version", "x"}, "--version = x is not a number in range (zrdl mp4 --help tells more)"},
      {{"mp4", "1", "--version"}, "--version needs a value (zrdl mp4 --help tells more)"},
      {{"--info-base", "ftp://a/", "list"},
       "--info-base: \"ftp://a/\" is not an http or https address (zrdl list --help tells more)"},
      {{"hls", "1", "--site", "1", "--version", "2"}, "an HLS video needs --info-base"},
      {{"--decrypt", "no-such-command --fast", "mp4", "1", "--version", "1"},
       "--decrypt: no-such-command is not a command"},
      {{"batch", home_ / "missing"}, "cannot read " + (home_ / "missing")},
      {{"rm", "1"}, "there is no task 1"},
      {{"resume", "1"}, "there is no task 1"},
      {{"path", "1"}, "there is no finished task 1"},
  };
  for (const auto& [line, complaint] : cases) {
    ZrdlProcess process(with(line));
    EXPECT_NE(process.wait(), 0) << complaint;
    EXPECT_EQ(process.err(), "zrdl: " + complaint + "\n");
  }
}

TEST_F(ZrdlRefusal, aLineOfABatchIsToldByItsNumber) {
  writeFile(home_ / "batch",
            "\n"
            "{\"kind\":\n"
            R"({"kind":"film","vid":1})"
            "\n"
            R"({"kind":"mp4","vid":0,"version":1})"
            "\n");
  ZrdlProcess process({"--support", home_ / "support", "batch", home_ / "batch"});
  EXPECT_EQ(process.wait(), 1);
  EXPECT_EQ(process.err(),
            "zrdl: line 2: refused: it is not a JSON object\n"
            "zrdl: line 3: refused: its \"kind\" is not \"hls\", \"mp4\" or \"share\"\n"
            "zrdl: line 4: refused: 视频vid不合法\n");
  EXPECT_EQ(process.out(), "0 finished, 0 failed, 0 stalled, 3 refused\n");
}

TEST_F(ZrdlRefusal, commandLinesThatMakeNoSenseAreUsageErrors) {
  writeFile(home_ / "broken.json", "{\"1-1\": ");
  writeFile(home_ / "list.json", "[]");
  writeFile(home_ / "entry.json", "{\"1-1\": 5}");
  const std::vector<std::string> mp4{"mp4", "1", "--version", "1"};
  const auto withInfo = [&](const std::string& file) {
    std::vector<std::string> arguments{"--mp4-info", file};
    arguments.insert(arguments.end(), mp4.begin(), mp4.end());
    return arguments;
  };
  const std::vector<std::vector<std::string>> lines{
      {},
      {"fetch"},
      {"--fetch"},
      {"list", "--fetch"},
      {"mp4"},
      {"mp4", "1"},
      {"mp4", "one", "--version", "1"},
      {"mp4", "1", "--version", "4294967297"},
      {"mp4", "9223372036854775808", "--version", "1"},
      {"mp4", "1", "--version", "1", "--version", "2"},
      {"mp4", "1", "--version"},
      {"--decrypt", home_ / "missing", "mp4", "1", "--version", "1"},
      {"--decrypt", "no-such-command --fast", "mp4", "1", "--version", "1"},
      {"--decrypt", home_ / "broken.json", "mp4", "1", "--version", "1"},
      {"hls", "1", "--version", "2"},
      {"hls", "1", "--site", "1", "--version", "2"},  // no service
      {"--info-base", "service", "hls", "1", "--site", "1", "--version", "2"},
      {"--cdn", "name", "list"},
      {"--cdn", "=value", "list"},
      {"--segment-base", "/segments/", "list"},
      {"share", "v", "--album-id", "a", "--name", "n"},
      {"share", "v", "--album-id", "a", "--name", "n", "--host", "device"},
      {"rm"},
      {"path"},
      {"path", "73-1", "73-2"},
      {"--max", "256", "list"},
      {"--give-up", "0", "list"},
      {"--bundle-id", "../elsewhere", "list"},
      {"--bundle-id", "", "list"},
      {"batch", home_ / "missing"},
      {"batch", home_.path()},
      withInfo(home_ / "missing"),
      withInfo(home_.path()),
      withInfo(home_ / "broken.json"),
      withInfo(home_ / "list.json"),
      withInfo(home_ / "entry.json"),
  };
  for (const std::vector<std::string>& line : lines) {
    ZrdlProcess process(with(line));
    EXPECT_EQ(process.wait(), 2) << testing::PrintToString(line);
    EXPECT_EQ(process.out(), "") << testing::PrintToString(line);
    EXPECT_EQ(std::count(process.err().begin(), process.err().end(), '\n'), 1) << process.err();
  }
  EXPECT_FALSE(std::filesystem::exists(home_ / "support"));
}
