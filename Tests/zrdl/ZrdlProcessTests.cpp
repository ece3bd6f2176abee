#include <algorithm>
#include <csignal>
#include <memory>
#include <mutex>

#include "ZrdlSite.h"

namespace fs = std::filesystem;

/// Runs of the command whose tasks come to their end.
class ZrdlRun : public ZrdlSite {
 protected:
  /// Starts the download of video 1 and kills the process when about half of it is on disk; returns the size there.
  std::size_t killHalfway(const OriginFile& served) {
    know(1, served.bytes.size());
    serveHalf(1, served);
    ZrdlProcess process(with({"mp4", "1", "--version", "1"}));
    EXPECT_TRUE(process.waitFor([](const Json& event) { return event.value("progress", 0.0) > 0.25; }));
    process.signal(SIGKILL);
    EXPECT_EQ(process.wait(), 1000 + SIGKILL);
    return fs::file_size(file(1));
  }

  /// The second request for video 1 of a test.
  OriginRequest secondRequest() const { return origin_.requestsTo("/1.mp4").at(1); }

  const OriginFile original_{.bytes = patternBytes(4'000'000, 1), .etag = "\"v1\"", .lastModified = ""};
};

TEST_F(ZrdlRun, aVideoArrivesWholeAndIsTold) {
  know(1, original_.bytes.size());
  origin_.serveFile("/1.mp4", original_);
  ZrdlProcess process(with({"mp4", "1", "--version", "1"}));
  ASSERT_EQ(process.wait(), 0) << process.err();
  EXPECT_TRUE(readFile(file(1)) == original_.bytes);
  EXPECT_EQ(process.events("created"),
            std::vector<Json>{Json::parse(R"({"event":"created","taskId":"73-1","kind":"mp4"})")});
  const Json finished = {{"event", "finished"}, {"taskId", "73-1"}, {"relative", "73-1-1/1-1.mp4"}, {"path", file(1)}};
  EXPECT_EQ(process.events("finished"), std::vector<Json>{finished});
  EXPECT_EQ(process.events("report").size(), 2U);
  EXPECT_EQ(summaryOf(process), (std::vector<int>{1, 0, 0, 0}));

  ZrdlProcess path({"--support", home_ / "support", "path", "73-1"});
  EXPECT_EQ(path.wait(), 0);
  EXPECT_EQ(path.out(), file(1).string() + "\n");

  ZrdlProcess list(with({"list"}));
  EXPECT_EQ(list.wait(), 0);
  ASSERT_EQ(list.events("task").size(), 1U);
  const Json task = list.events("task").front();
  EXPECT_EQ(task.at("state"), 4);
  EXPECT_EQ(task.at("bytes"), original_.bytes.size());
  EXPECT_EQ(task.at("title"), "video 1");
}

TEST_F(ZrdlRun, afterAKillOnlyTheRestIsAskedFor) {
  const std::size_t onDisk = killHalfway(original_);
  origin_.serveFile("/1.mp4", original_);
  ZrdlProcess resumed(with({"resume"}));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err();
  EXPECT_TRUE(readFile(file(1)) == original_.bytes);
  EXPECT_GT(onDisk, original_.bytes.size() / 4);
  EXPECT_EQ(secondRequest().header("Range"), "bytes=" + std::to_string(onDisk) + "-");
  EXPECT_EQ(origin_.requestsTo("/1.mp4").size(), 2U);
}

TEST_F(ZrdlRun, aFileThatChangedMeanwhileIsFetchedWhole) {
  killHalfway(original_);
  const OriginFile changed{.bytes = patternBytes(4'500'000, 2), .etag = "\"v2\"", .lastModified = ""};
  origin_.serveFile("/1.mp4", changed);
  ZrdlProcess resumed(with({"resume", "73-1"}));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err();
  EXPECT_TRUE(readFile(file(1)) == changed.bytes);
}

TEST_F(ZrdlRun, aFileThatWasCompleteIsFinishedWithoutAByte) {
  killHalfway(original_);
  writeFile(file(1), original_.bytes);
  origin_.serveFile("/1.mp4", original_);
  ZrdlProcess resumed(with({"resume"}));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err();
  EXPECT_TRUE(readFile(file(1)) == original_.bytes);
  EXPECT_EQ(secondRequest().header("Range"), "bytes=" + std::to_string(original_.bytes.size()) + "-");  // gets a 416
  EXPECT_EQ(origin_.requestsTo("/1.mp4").size(), 2U);
}

TEST_F(ZrdlRun, aBatchKeepsToTheLimitAndToItsOrder) {
  constexpr int kTasks = 10;
  constexpr int kLimit = 3;
  std::vector<std::unique_ptr<OriginGate>> gates;
  std::mutex mutex;
  int running = 0;
  int most = 0;
  const auto count = [&](int change) {
    const std::lock_guard lock(mutex);
    running += change;
    most = std::max(most, running);
  };
  std::vector<int> vids;
  for (int vid = 1; vid <= kTasks; ++vid) {
    vids.push_back(vid);
    know(vid, 1000);
    OriginGate* const gate = gates.emplace_back(std::make_unique<OriginGate>()).get();
    origin_.route("/" + std::to_string(vid) + ".mp4", [count, gate](const OriginRequest&, OriginConnection& out) {
      count(1);
      out.wait(*gate);
      count(-1);
      out.respond(200, patternBytes(1000));
    });
  }
  ZrdlProcess process(with({"--max", std::to_string(kLimit), "batch", "-"}), batchOf(vids));
  for (int vid = 1; vid <= kTasks; ++vid) {
    ASSERT_TRUE(origin_.waitForRequests(static_cast<std::size_t>(std::min(vid + kLimit - 1, kTasks))));
    gates[static_cast<std::size_t>(vid - 1)]->open();
  }
  ASSERT_EQ(process.wait(), 0) << process.err();
  {
    const std::lock_guard lock(mutex);
    EXPECT_EQ(most, kLimit);
  }
  EXPECT_EQ(summaryOf(process), (std::vector<int>{kTasks, 0, 0, 0}));
  std::vector<std::string> order;
  for (const OriginRequest& request : origin_.requests()) order.push_back(request.path());
  std::sort(order.begin(), order.begin() + kLimit);  // those start together
  for (int vid = 1; vid <= kTasks; ++vid) {
    EXPECT_EQ(order.at(static_cast<std::size_t>(vid - 1)), "/" + std::to_string(vid) + ".mp4");
  }
}

TEST_F(ZrdlRun, anInterruptedRunGoesOnLater) {
  for (const int vid : {1, 2, 3}) {
    know(vid, original_.bytes.size());
    serveHalf(vid, original_);
  }
  ZrdlProcess process(with({"--max", "2", "batch", batchOf({1, 2, 3})}));
  ASSERT_TRUE(origin_.waitForRequests(2));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait(), 130) << process.err();
  EXPECT_EQ(summaryOf(process), (std::vector<int>{0, 0, 0, 0}));

  for (const int vid : {1, 2, 3}) origin_.serveFile("/" + std::to_string(vid) + ".mp4", original_);
  ZrdlProcess resumed(with({"resume"}));
  ASSERT_EQ(resumed.wait(), 0) << resumed.err();
  EXPECT_EQ(summaryOf(resumed), (std::vector<int>{3, 0, 0, 0}));
  for (const int vid : {1, 2, 3}) EXPECT_TRUE(readFile(file(vid)) == original_.bytes) << vid;
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
  ZrdlProcess process(with({"--max", "1", "--give-up", "1", "batch", batchOf({1, 2, 3, 4, 5, 6, 7, 8})}));
  ASSERT_EQ(process.wait(), 1) << process.err();
  EXPECT_EQ(summaryOf(process), (std::vector<int>{1, 5, 2, 0}));
  const std::vector<Json> errored = process.events("errored");
  ASSERT_EQ(errored.size(), 5U);
  EXPECT_EQ(errored[0].at("taskId"), "73-1");
  EXPECT_EQ(errored[0].at("code"), 101);
  EXPECT_EQ(errored[0].at("message"), "失去网络连接");
  EXPECT_EQ(errored[1].at("taskId"), "73-4");
  EXPECT_EQ(errored[1].at("code"), 103);
  EXPECT_EQ(errored[2].at("taskId"), "73-6");
  EXPECT_EQ(errored[2].at("code"), 103);
  EXPECT_EQ(errored[3].at("code"), 102);
  EXPECT_EQ(errored[4].at("code"), 102);
  EXPECT_EQ(process.events("stalled").size(), 2U);
  EXPECT_TRUE(readFile(file(5)) == patternBytes(100));
  for (const int vid : {2, 3, 4}) EXPECT_FALSE(fs::exists(file(vid))) << vid;
}

TEST_F(ZrdlRun, removedTasksLeaveNothing) {
  know(1, 100);
  origin_.serve("/1.mp4", patternBytes(100));
  ASSERT_EQ(ZrdlProcess(with({"mp4", "1", "--version", "1"})).wait(), 0);
  ZrdlProcess rm(with({"rm", "73-9", "73-1", "73-1"}));
  EXPECT_EQ(rm.wait(), 1);
  EXPECT_EQ(rm.err(), "zrdl: there is no task 73-9\n");
  EXPECT_EQ(rm.events("removed").size(), 1U);
  for (const fs::directory_entry& entry : fs::directory_iterator(downloadFolder())) {
    EXPECT_FALSE(entry.is_directory()) << entry.path();
  }
  ZrdlProcess list(with({"list"}));
  EXPECT_EQ(list.wait(), 0);
  EXPECT_TRUE(list.events("task").empty());
  EXPECT_EQ(ZrdlProcess(with({"path", "73-1"})).wait(), 1);
}
