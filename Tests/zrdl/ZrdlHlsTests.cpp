#include "ZrdlSite.h"

namespace fs = std::filesystem;

class ZrdlHls : public ZrdlSite {
 protected:
  /// The command line that downloads the video, with more options before the command.
  std::vector<std::string> hls(const std::string& options = "") const {
    return with(hlsOptions() + options + " hls 1 --site 1 --version 2");
  }

  /// The option for a decryption by a shell script.
  std::string decryptBy(const std::string& script, const std::string& argument = "") const {
    writeFile(home_ / "decrypt.sh", script);
    return " --decrypt \"sh " + home_ / "decrypt.sh" + argument + "\"";
  }
};

TEST_F(ZrdlHls, aVideoArrivesWholeWithItsLocalPlaylist) {
  serveHls(4);
  ZrdlProcess process(hls(" --mkey K --cookie 'c=1; d=2' --cdn ver=3 --cdn 'pt=a b=c' --app-version 9.8"));
  ASSERT_EQ(process.wait(), 0) << process.err();
  expectWholeHls();
  EXPECT_EQ(process.events("created"), Json::parse(R"([{"event":"created","taskId":"1","kind":"hls"}])"));
  EXPECT_EQ(process.events("finished").at(0).at("path"), hlsFile("1-2.local.m3u8").string());
  EXPECT_NE(origin_.requestsTo("/v4/video/info/1.json").at(0).target.find("sver=9.8"), std::string::npos);
  const OriginRequest request = origin_.requestsTo("/p/1.m3u8").at(0);
  EXPECT_EQ(request.target, "/p/1.m3u8?a=1&mkey=K&ver=3&pt=a%20b%3Dc");
  EXPECT_EQ(request.header("Cookie"), "c=1; d=2");

  const Json task = listed().at(0);
  EXPECT_EQ(task.at("bytes"), 4U * 9400);
  EXPECT_EQ(task.at("title"), "clip");

  const std::string copy = home_ / "copy/film.ts";
  writeFile(copy, "what is replaced");
  ASSERT_EQ(ZrdlProcess(with("export 1 " + copy)).wait(), 0);
  const std::string whole = segment(0) + segment(1) + segment(2) + segment(3);
  EXPECT_TRUE(readFile(copy) == whole);
  fs::remove(hlsFile("2.ts"));
  ZrdlProcess incomplete(with("export 1 " + copy));
  EXPECT_EQ(incomplete.wait(), 1);
  EXPECT_EQ(incomplete.err(), "zrdl: cannot read " + hlsFile("2.ts").string() + ": No such file or directory\n");
  EXPECT_TRUE(readFile(copy) == whole);
  EXPECT_EQ(std::distance(fs::directory_iterator(home_ / "copy"), {}), 1);

  ASSERT_EQ(ZrdlProcess(with("rm 1")).wait(), 0);
  EXPECT_FALSE(fs::exists(hlsFile("")));
}

TEST_F(ZrdlHls, aCommandDecryptsWithPathsThatNoShellReads) {
  serveHls(3);
  support_ = "su p\"p'ort $(touch gone)";
  origin_.serve("/p/1.m3u8", "!" + playlist("s"));
  const std::string script =
      R"(test $# = 3 || exit 9
tr -d "$1" < "$2" | sed 's/^s\([0-9]\)/\1/' > "$3"
grep '^s' "$2" | sed 's|^|)" +
      origin_.url("/p/") + "|'\n";
  ZrdlProcess process(hls(decryptBy(script, " '!'")));
  ASSERT_EQ(process.wait(), 0) << process.err() << process.out();
  expectWholeHls();
}

TEST_F(ZrdlHls, anInterruptEndsTheCommandToo) {
  serveHls(1);
  ZrdlProcess process(hls(decryptBy("touch \"$1.seen\"; sleep 1000 & sleep 1000")));
  ASSERT_TRUE(process.waitFor([this](const Json&) { return fs::exists(hlsFile("1-2.net.m3u8.seen")); }));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait(), 130) << process.err();  // it would wait for whoever holds the output open
}

TEST_F(ZrdlHls, whatIsWrongWithAVideoIsTold) {
  serveHls(1);
  const std::string page = "<html>" + std::string(1000, ' ');
  origin_.serve("/q/s0.ts", page);
  struct Case {
    std::string playlist;
    std::string options;
    const char* message;
    const char* cause;
  };
  for (const auto& [text, options, message, cause] :
       {Case{playlist("s"), " --segment-base " + origin_.url("/q/"), "TS文件校验失败", ""},
        Case{playlist("s"), decryptBy("echo http://a/; exit 3"), "m3u8文件解密失败", "the command ended with status 3"},
        Case{page, "", "m3u8文件解密失败", "the file is not a playlist"}}) {
    origin_.serve("/p/1.m3u8", text);
    ZrdlProcess process(hls(options));
    EXPECT_EQ(process.wait(), 1) << process.err();
    const Json errored = process.events("errored").at(0);
    EXPECT_EQ(errored.at("message"), message);
    EXPECT_EQ(errored.value("cause", ""), cause);
    ASSERT_EQ(ZrdlProcess(with("rm 1")).wait(), 0);
  }
}
