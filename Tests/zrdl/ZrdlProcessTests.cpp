#include <algorithm>
#include <array>
#include <atomic>
#include <set>

#include <SQLiteCpp/SQLiteCpp.h>

#include "ZrdlSite.h"

namespace fs = std::filesystem;

/// Runs of the command whose tasks come to their end.
class ZrdlRun : public ZrdlSite {
 protected:
  const OriginFile original_{.bytes = patternBytes(4'000'000, 1), .etag = "\"v1\"", .lastModified = ""};
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
  for (const int vid : {1, 2, 3}) {
    know(vid, original_.bytes.size());
    serveHalf(mp4Path(vid), original_.bytes);
  }
  writeFile(home_ / "batch", readFile(batchOf(3)) + oneOfEachKind().substr(oneOfEachKind().rfind('{')));
  ZrdlProcess process(with("--max 4 batch " + home_ / "batch"));
  std::set<std::string> begun;
  ASSERT_TRUE(process.waitFor([&](const Json& event) {
    if (event.value("progress", 0.0) > 0.25) begun.insert(event.at("taskId"));
    return begun.size() == 4 && exists(shareFile("v1.jpg"));
  }));
  process.signal(SIGKILL);
  EXPECT_EQ(process.wait(), 1000 + SIGKILL);
  const std::size_t onDisk = fs::file_size(file(1));
  EXPECT_GT(onDisk, original_.bytes.size() / 4);
  const std::size_t shareOnDisk = fs::file_size(shareFile("movie.mp4"));
  const std::size_t covers = requestsTo("/coverImg.action");

  const OriginFile changed{.bytes = patternBytes(4'500'000, 2), .etag = "\"v2\"", .lastModified = ""};
  origin_.serveFile("/2.mp4", changed);
  ZrdlProcess one(with("resume 73-2"));
  ASSERT_EQ(one.wait(), 0) << one.err();
  EXPECT_TRUE(readFile(file(2)) == changed.bytes);

  writeFile(file(3), original_.bytes);  // was complete and gets a 416
  for (const char* const path : {"/1.mp4", "/3.mp4", "/share.mp4"}) origin_.serveFile(path, original_);
  ZrdlProcess others(with("resume"));
  ASSERT_EQ(others.wait(), 0) << others.err();
  const auto expectRest = [this](const std::string& path, std::size_t from, const fs::path& whole) {
    EXPECT_TRUE(readFile(whole) == original_.bytes) << path;
    ASSERT_EQ(requestsTo(path), 2U);
    EXPECT_EQ(origin_.requestsTo(path)[1].header("Range"), "bytes=" + std::to_string(from) + "-");
  };
  expectRest("/1.mp4", onDisk, file(1));
  expectRest("/3.mp4", original_.bytes.size(), file(3));
  expectRest("/share.mp4", shareOnDisk, shareFile("movie.mp4"));
  EXPECT_EQ(requestsTo("/video.action"), 2U);
  EXPECT_EQ(requestsTo("/coverImg.action"), covers);
  EXPECT_EQ(requestsTo("/share"), 0U);
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
