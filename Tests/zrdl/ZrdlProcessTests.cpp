#include <algorithm>
#include <array>
#include <atomic>
#include <set>
#include <tuple>

#include <SQLiteCpp/SQLiteCpp.h>

#include "ZrdlSite.h"

namespace fs = std::filesystem;

/// Runs of the command whose tasks come to their end.
class ZrdlRun : public ZrdlSite {
 protected:
  const OriginFile original_{.bytes = patternBytes(4'000'000, 1), .etag = "\"v1\""};
};

TEST_F(ZrdlRun, aVideoArrivesWholeAndIsToldUntilItIsRemoved) {
  know(1, original_.bytes.size());
  origin_.serveFile("/1.mp4", original_);
  ZrdlProcess process(with("mp4 1 --version 1"));
  ASSERT_EQ(process.wait(), 0) << process.err();
  EXPECT_TRUE(readFile(file(1)) == original_.bytes);
  EXPECT_EQ(process.events("created"), Json::parse(R"([{"event":"created","taskId":"73-1","kind":"mp4"}])"));
  const Json finished = {{"event", "finished"}, {"taskId", "73-1"}, {"relative", "73-1-1/1-1.mp4"}, {"path", file(1)}};
  EXPECT_EQ(process.events("finished"), Json::array({finished}));
  EXPECT_EQ(process.events("report").size(), 2U);
  EXPECT_EQ(summaryOf(process), (std::vector<int>{1, 0, 0, 0}));

  ZrdlProcess path({"--support", home_ / "support", "path", "73-1"});
  EXPECT_EQ(path.wait(), 0);
  EXPECT_EQ(path.out(), file(1).string() + "\n");
  const Json tasks = listed();
  ASSERT_EQ(tasks.size(), 1U);
  EXPECT_EQ(tasks[0].at("stateName"), "finished");
  EXPECT_EQ(tasks[0].at("bytes"), original_.bytes.size());
  EXPECT_EQ(tasks[0].at("title"), "video’s 1");

  ASSERT_EQ(ZrdlProcess(with("export 73-1 " + home_ / "film.mp4")).wait(), 0);
  EXPECT_TRUE(readFile(home_ / "film.mp4") == original_.bytes);
  ZrdlProcess nowhere(with("export 73-1 " + home_ / "missing/film.mp4"));
  EXPECT_EQ(nowhere.wait(), 1);
  EXPECT_EQ(nowhere.err(), "zrdl: cannot write " + home_ / "missing/film.mp4" + ": No such file or directory\n");

  SQLite::Database database(downloadFolder() / "zrdownloadkit.db", SQLite::OPEN_READWRITE);
  database.exec("CREATE TRIGGER keep BEFORE DELETE ON task_73_meta_tb BEGIN SELECT RAISE(ABORT, ''); END");
  ZrdlProcess kept({"--support", home_ / "support", "rm", "73-1"});
  EXPECT_EQ(kept.wait(), 1);
  EXPECT_EQ(kept.err(), "zrdl: the database cannot be written: 73-1 stays\n");
  database.exec("DROP TRIGGER keep");
  ZrdlProcess rm(with("rm 73-9 73-1 73-1"));
  EXPECT_EQ(rm.wait(), 1);
  EXPECT_EQ(rm.err(), "zrdl: there is no task 73-9\n");
  EXPECT_EQ(rm.events("removed").size(), 1U);
  for (const fs::directory_entry& entry : fs::directory_iterator(downloadFolder())) {
    EXPECT_FALSE(entry.is_directory()) << entry.path();
  }
  EXPECT_TRUE(listed().empty());
}

TEST_F(ZrdlRun, afterAKillOnlyWhatIsMissingIsAskedFor) {
  serveShare();
  serveHalf("/share.mp4", original_.bytes);
  for (const int vid : {1, 2}) {
    know(vid, original_.bytes.size());
    serveHalf(mp4Path(vid), original_.bytes);
  }
  writeFile(home_ / "batch", readFile(batchOf(2)) + oneOfEachKind().substr(oneOfEachKind().rfind('{')));
  ZrdlProcess process(with("batch " + home_ / "batch"));
  std::set<std::string> begun;
  ASSERT_TRUE(process.waitFor([&](const Json& event) {
    if (event.value("progress", 0.0) > 0.25) begun.insert(event.at("taskId"));
    return begun.size() == 3;
  }));
  process.signal(SIGKILL);
  EXPECT_EQ(process.wait(), 1000 + SIGKILL);

  ZrdlProcess blind({"--support", home_ / "support", "resume", "73-2"});
  EXPECT_EQ(blind.wait(), 1);
  EXPECT_TRUE(blind.err().starts_with("zrdl: an MP4 video needs --mp4-info\n")) << blind.err();
  const std::tuple<std::string, fs::path, std::string> files[] = {
      {"/2.mp4", file(2), "73-2"}, {"/1.mp4", file(1), "73-1"}, {"/share.mp4", shareFile("movie.mp4"), ""}};
  for (const auto& [path, whole, id] : files) {
    const std::string rest = "bytes=" + std::to_string(fs::file_size(whole)) + "-";
    origin_.serveFile(path, original_);
    ASSERT_EQ(ZrdlProcess(with("resume " + id)).wait(), 0) << path;
    EXPECT_TRUE(readFile(whole) == original_.bytes) << path;
    EXPECT_EQ(origin_.requestsTo(path).at(1).header("Range"), rest);
  }
}

TEST_F(ZrdlRun, tasksThatCannotGoOnGiveTheirSlotToTheNext) {
  know(1, 100);  // lost
  origin_.route("/1.mp4", [](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n0123456789");
    out.reset();
  });
  know(2, 100);  // not found
  writeFile(home_ / "secret", "secret");
  know(3, 6, "file://" + home_ / "secret");
  know(5, 100);
  origin_.serve("/5.mp4", patternBytes(100));
  know(7, 100, "http://127.0.0.1:" + std::to_string(origin_.refusedPort()) + "/");  // stops every task
  ZrdlProcess process(with("--max 1 --give-up 1 batch " + batchOf(8)));
  ASSERT_EQ(process.wait(), 1) << process.err();
  EXPECT_EQ(summaryOf(process), (std::vector<int>{1, 5, 2, 0}));
  EXPECT_EQ(process.values("errored", "taskId"), Json({"73-1", "73-4", "73-6", "73-7", "73-8"}));
  EXPECT_EQ(process.values("errored", "code"), Json({101, 103, 103, 102, 102}));
  EXPECT_EQ(process.events("errored").at(0).at("message"), "失去网络连接");
  EXPECT_EQ(process.events("failure").at(0).at("httpStatus"), 404);
  EXPECT_EQ(process.events("errored").at(0).at("reason"), "connectionLost");
  EXPECT_EQ(process.values("stalled", "reason"), Json({"httpStatus", "badScheme"}));
  EXPECT_TRUE(readFile(file(5)) == patternBytes(100));
  for (const int vid : {2, 3, 4}) EXPECT_FALSE(fs::exists(file(vid))) << vid;
}

TEST_F(ZrdlRun, aSharedVideoArrivesWhereItIsTold) {
  const std::string video = patternBytes(4000);
  serveShare();
  origin_.serve("/share.mp4", video);
  ZrdlProcess process(with("share v1 --album-id a1 --name movie.mp4 --host " + origin_.url("")));
  ASSERT_EQ(process.wait(), 0) << process.err();
  EXPECT_EQ(process.events("created"), Json::parse(R"([{"event":"created","taskId":"share-1","kind":"share"}])"));
  EXPECT_EQ(process.values("finished", "relative"), Json::array({"a1/v1/movie.mp4"}));
  EXPECT_EQ(readFile(shareFile("movie.mp4")), video);
  EXPECT_EQ(requestsTo("/ping"), 1U);  // the service was asked, not the host alone
}

TEST_F(ZrdlRun, theDemoBringsATaskOfEachKindAnewEachTime) {
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
