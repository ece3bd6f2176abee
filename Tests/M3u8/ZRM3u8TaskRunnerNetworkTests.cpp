#include "M3u8Fixture.h"

namespace {

/// The way to the playlist, and videos that are one MP4 file.
class ZRM3u8TaskRunnerNetworkTest : public M3u8Fixture {
 protected:
  static bool isStuckIn(const Runner& task, ZRM3u8Phase phase) {
    return task.isExecuting() && task.executingPhase() == static_cast<std::uint64_t>(phase);
  }

  std::string thumbnail() const { return R"(, "tv_preview_pic": ")" + origin_.url("/t.jpg") + '"'; }

  const ZRError undecryptable_{ZRErrorCode::ResourceUnusable, "m3u8文件解密失败"};
  const std::string oneFile_ = R"("uploadFrom": 266, "file_size_high": 5000)";
};

TEST_F(ZRM3u8TaskRunnerNetworkTest, walksFromTheIdToAPlayableFolder) {
  manager()->setup(hlsHost({{"m3u8_cdn_params", ZRDictionary{{"cdn", "x y"}}}}));
  serveHlsRecord(thumbnail() + R"(, "file_size_high": 960)");
  origin_.serve("/t.jpg", "thumbnail");
  serveSegments(2);
  origin_.serve("/2's%20%C3%A9.ts", segment(2));
  tsArr_.emplace_back(origin_.url("/2's%20\xC3\xA9.ts?x='%27"));
  origin_.route("/p.m3u8", [](const OriginRequest&, OriginConnection& out) {
    EXPECT_EQ(queried("SELECT executingPhase FROM task_meta_tb"), "1");  // the row goes before the request
    out.respond(200, "encrypted");
  });
  const auto task = add();
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("1"), std::nullopt);
  ASSERT_TRUE(runUntil([&] { return task->isFinished() && fs::exists(file("7-1.jpg")); }));

  auto requests = origin_.requests();
  std::erase_if(requests, [](const OriginRequest& request) { return request.target == "/t.jpg"; });
  ASSERT_EQ(requests.size(), 5U);
  EXPECT_EQ(requests[0].target,
            "/v4/video/info/7.json?site=1&api_key=3f1c0a9e7d2b4c6f8e5a1d0b9c7e2f4a&plat=14&sver=9.9&ssl=1");
  EXPECT_EQ(requests[1].target, "/p.m3u8?a=1&mkey=K&cdn=x%20y");
  EXPECT_EQ(requests[1].header("Cookie"), "c=1");
  EXPECT_EQ(task->m3u8Url(), origin_.url("/p.m3u8?a=1"));
  EXPECT_EQ(requests[4].target, "/2's%20%C3%A9.ts?x='%27");
  EXPECT_EQ(keyRequests_, std::vector<ZRDictionary>({{{"aid", 3}, {"vid", 7}}}));
  EXPECT_EQ(decrypted_, std::vector<std::string>({"encrypted"}));

  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(readFile(file(std::to_string(i) + ".ts")), segment(i));
  EXPECT_EQ(readFile(file("7-1.local.m3u8")), "#EXTM3U");
  EXPECT_EQ(std::distance(fs::directory_iterator(file("")), {}), 5);  // the encrypted playlist is gone
  EXPECT_EQ(task->currentDownloadProgress(), 1.0F);
  EXPECT_EQ(std::tuple(task->allDownloadedSegmentsBytes(), task->transferedPerSecond()), std::tuple(3U * 376, 3 * 376));
  EXPECT_EQ(queried("SELECT (SELECT count(*) FROM ts_meta_tb) || instr(videoInfo, char(13, 10)) FROM task_meta_tb"),
            "065");
  EXPECT_EQ(queried("SELECT executingPhase || currentSegment || totalSegment FROM task_meta_tb"), "333");
  EXPECT_TRUE(logged(1, "store ts(3)(3-7)"));
  EXPECT_TRUE(logged(1, "ts:2/3;3-7-1"));
  EXPECT_TRUE(logged(0, "ts:2/3 use 0.00 s;"));
  EXPECT_TRUE(logged(1, "finishTS:【vid:7,aid:3,ts:3】"));
  for (const LogLine& line : log_) EXPECT_EQ(line.msg.find("mkey"), std::string::npos) << line.msg;
  restart();
  EXPECT_EQ(manager()->fullMoviePathWithTaskId("1"), file("7-1.local.m3u8"));
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, nothingEmptyIsSentAndNothingThatIsThereIsFetched) {
  keyReply_ = ZRDictionary{{"mkey", ""}};
  writeFile(file("7-1.jpg"), "old");
  serveHlsRecord(thumbnail());
  finished(add());  // an empty list of segments is done at once
  EXPECT_EQ(requestsTo("/t.jpg"), 0U);
  const OriginRequest playlist = origin_.requests().back();
  EXPECT_EQ(std::tuple(playlist.target, playlist.header("Cookie")), std::tuple("/p.m3u8?a=1", std::nullopt));
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, failedDecryptionIsRepeatedAtLastWithANewRecord) {
  for (const auto& [failures, records] : {std::pair(2U, 1U), std::pair(3U, 2U), std::pair(4U, 2U)}) {
    decryptionFailures_ = failures;
    decrypted_.clear();
    log_.clear();
    const std::size_t before = recordRequests();
    const auto task = add();
    if (failures < 4) {
      finished(task);
    } else {
      failed(task, undecryptable_);
      decryptionFailures_ = 1;
      manager()->resumeTask(task);  // which fills no budget
      failed(task, undecryptable_);
    }
    EXPECT_EQ(recordRequests() - before, records);
    EXPECT_EQ(decrypted_.size(), failures + 1);
    EXPECT_EQ(countLogged(2, "decodeError:" + ZRError("host", 7, "no").description()), std::min(failures, 3U));
    EXPECT_FALSE(fs::exists(file("7-1.net.m3u8")));
    manager()->removeTask(task);
  }
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, everyStepTellsItsFailureAndAThumbnailNone) {
  const auto reset = [](const OriginRequest&, OriginConnection& out) { out.reset(); };
  origin_.route("/t.jpg", reset);
  serveHlsRecord(thumbnail());
  keyError_ = ZRError("host", -1009, "");
  manager()->removeTask(failed(add(), unreachable_));
  keyError_.reset();
  origin_.route("/p.m3u8", reset);
  manager()->removeTask(failed(add(), connectionLost_));
  origin_.serve("/p.m3u8", "encrypted");
  finished(add());
  EXPECT_GT(requestsTo("/t.jpg"), 0U);
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, missingAddressRollsBackToANewRecordThreeTimes) {
  for (const std::string& record : {std::string(R"("url_high": "")"), oneFile_}) {
    const std::size_t before = recordRequests();
    serveRecord(record);
    manager()->removeTask(failed(add(), {ZRErrorCode::ResourceUnusable, "找不到M3U8地址"}));
    EXPECT_EQ(std::tuple(recordRequests() - before, countLogged(1, "roll back setp 1.") % 3), std::tuple(4U, 0U));
  }
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, refusedRecordAndAMissingCallbackLeaveTheTaskInItsPhase) {
  origin_.serve("/v4/video/info/7.json", R"({"status": 403, "data": {}})");
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return !messages(2).empty(); }));
  EXPECT_EQ(messages(2)[0].substr(0, 7), "ts:0/0;");
  EXPECT_TRUE(isStuckIn(*task, ZRM3u8Phase::PhaseLoadVideoInfo));
  serveHlsRecord();
  manager()->setup(hlsHost({{"fetch_mky_handler", ZRValue::null()}}));
  manager()->resumeTask(task);
  ASSERT_TRUE(runUntil([&] { return isStuckIn(*task, ZRM3u8Phase::PhaseFetchPlaylist); }));
  EXPECT_EQ(requestsTo("/p.m3u8"), 0U);
  manager()->setup(hlsHost({{"decryption_handler", ZRValue::null()}}));
  manager()->resumeTask(task);
  ASSERT_TRUE(runUntil([&] { return fs::exists(file("7-1.net.m3u8")); }));
  loop_->drain();
  EXPECT_TRUE(isStuckIn(*task, ZRM3u8Phase::PhaseFetchPlaylist));
  keyError_ = ZRError("host", 104, "no key");
  manager()->resumeTask(task);
  failed(task, *keyError_);
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, repliesThatTheTaskNoLongerWaitsForAreDropped) {
  std::vector<ZRReplyCompletion> keys;
  std::vector<ZRReplyCompletion> playlists;
  const auto keep = [](std::vector<ZRReplyCompletion>& replies) {
    return ZRRequestHandler([&replies](const auto&, const auto& reply) { replies.push_back(reply); });
  };
  manager()->setup(hlsHost({{"fetch_mky_handler", keep(keys)}, {"decryption_handler", keep(playlists)}}));
  serveSegments(2);
  const auto task = add();
  ASSERT_TRUE(runUntil([&] { return keys.size() == 1; }));
  manager()->pauseTask(task);
  keys[0](std::nullopt, ZRError("host", 103, "late"));
  EXPECT_TRUE(task->isPaused());
  for (std::size_t i = 1; i <= 2; ++i) {
    manager()->pauseTask(task);
    manager()->resumeTask(task);
    keys.at(i)(ZRDictionary(), std::nullopt);
    ASSERT_TRUE(runUntil([&] { return playlists.size() == i; }));
  }
  playlists[0](ZRDictionary{{"tsArr", tsArr_}}, std::nullopt);
  playlists[1](std::nullopt, ZRError("host", 103, "its file is gone"));  // the segments are under way
  finished(task);
  EXPECT_EQ(requestsTo("/0.ts") + requestsTo("/1.ts"), 2U);
}

TEST_F(ZRM3u8TaskRunnerNetworkTest, oneFileIsFetchedWhenTheDiskHasRoomAndNeedsNoPlaylist) {
  const std::string bytes = patternBytes(5000);
  origin_.serveFile("/v.mp4", {.bytes = bytes, .etag = "\"v\""});
  serveRecord(oneFile_);  // without an address: the disk is looked at first
  fillDisk();
  const auto task = failed(add(), diskFull_);
  setFreeBytes(std::uint64_t{100} << 30);
  serveRecord(oneFile_ + R"(, "url_high_mp4": ")" + origin_.url("/v.mp4") + '"');
  disk_.setHook([](const std::string& path) { return path.ends_with(".mp4") ? EIO : 0; });
  manager()->resumeTask(task);
  failed(task, {ZRErrorCode::ResourceUnusable, "the file cannot be written"});
  EXPECT_EQ(task->receivedBytes(), 0U);  // what the disk lost does not count
  disk_.setHook(nullptr);
  manager()->resumeTask(task);
  finished(task);
  EXPECT_EQ(readFile(file("7-1.mp4")), bytes);
  EXPECT_FLOAT_EQ(task->currentDownloadProgress(), 5000.0F / 5875.0F);
  EXPECT_EQ(task->localFullFilePath(), file("7-1.mp4"));
  EXPECT_EQ(task->localRelativeFilePath(), "7-1/7-1.local.m3u8");
  EXPECT_TRUE(keyRequests_.empty());
}
}  // namespace
