// An HLS video of many equal segments, one after another: what a segment costs in all, and on the host's main thread.
//
//     SegmentBenchmark [SEGMENTS] [PACKETS] [OTHER_ROWS] [FOLDER]
//
// 2000 segments of 348 packets of 188 bytes (64 KiB) by default; OTHER_ROWS addresses of another task lie in the
// segment table beside them.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <SQLiteCpp/SQLiteCpp.h>

#include "BenchmarkHost.h"
#include "Measured.h"
#include "SendfileOrigin.h"
#include "ZRDownloadKit.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr int kPacketSize = 188;

void write(const fs::path& file, const std::string& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << bytes;
}

void makeContent(const fs::path& www, int packets, const SendfileOrigin& origin) {
  std::string segment;
  for (int i = 0; i < packets; ++i) segment += "\x47" + std::string(kPacketSize - 1, 'x');
  write(www / "segment.ts", segment);
  write(www / "playlist.m3u8", "#EXTM3U\n");
  write(www / "v4/video/info/1.json",
        R"({"status":200,"data":{"url_nor":")" + origin.url("/playlist.m3u8") + R"(?a=1"}})");
}

ZRDictionary options(const SendfileOrigin& origin, int segments) {
  const auto key = [](const ZRDictionary&, const ZRReplyCompletion& reply) {
    reply(ZRDictionary{{"mkey", "k"}}, std::nullopt);
  };
  const auto decrypt = [&origin, segments](const ZRDictionary&, const ZRReplyCompletion& reply) {
    reply(ZRDictionary{{"tsArr", ZRValue::List(static_cast<std::size_t>(segments), origin.url("/segment.ts"))}},
          std::nullopt);
  };
  return {{"fetch_mky_handler", ZRFetchMkeyHandler(key)}, {"decryption_handler", ZRDecryptionHandler(decrypt)}};
}

/// Addresses of a task that is not there, in one statement.
void addOtherRows(int rows) {
  SQLite::Database db(ZRDownloadManager::downloadBasePath() + "/zrdownloadkit.db", SQLite::OPEN_READWRITE);
  SQLite::Statement insert(db,
                           "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < ?) "
                           "INSERT INTO ts_meta_tb (idx,task_id,url) SELECT i, 999999, 'aHR0cDovLw==' FROM n");
  insert.bind(1, rows);
  insert.exec();
}

}  // namespace

int main(int argc, char** argv) {
  const int segments = argc > 1 ? std::atoi(argv[1]) : 2000;
  const int packets = argc > 2 ? std::atoi(argv[2]) : 348;
  const int otherRows = argc > 3 ? std::atoi(argv[3]) : 0;
  const BenchmarkHost host(argc > 4 ? fs::path(argv[4]) : fs::temp_directory_path());
  const fs::path www = host.folder() / "www";
  const SendfileOrigin origin(www.string());
  makeContent(www, packets, origin);
  ZRHostInfo info = ZRHost::current();
  info.videoInfoBaseURL = origin.url("/v4/video/info");
  ZRHost::setCurrent(info);
  MeasuredLoop loop;
  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup(options(origin, segments));
  const auto task = ZRDownloadTask::taskWithParams({{"vid", 1}, {"aid", 1}, {"site", 1}, {"version", 2}});
  if (otherRows > 0) addOtherRows(otherRows);
  const double mainBefore = processorSecondsOfThread();
  const double processBefore = processorSecondsOfProcess();
  const auto start = Clock::now();
  if (manager->addTask(task) != ZRAddTaskResult::Added) return 1;
  while (task->isExecuting()) loop.turn();
  const auto perSegment = [segments](double seconds) { return seconds * 1e6 / segments; };
  std::printf("%d segments of %d bytes, %d other rows: %.0f us a segment, processor %.0f us, main thread %.0f us\n",
              segments, packets * kPacketSize, otherRows, perSegment(Seconds(Clock::now() - start).count()),
              perSegment(processorSecondsOfProcess() - processBefore),
              perSegment(processorSecondsOfThread() - mainBefore));
  return task->isFinished() ? 0 : 1;
}
