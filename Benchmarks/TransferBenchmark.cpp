// One large download, and what it costs the host's main thread: its share of the processor time and its longest turn.
//
//     TransferBenchmark [FOLDER] [MIB]     the folder decides the file system; a temporary one and 1024 MiB by default

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "BenchmarkHost.h"
#include "Measured.h"
#include "SendfileOrigin.h"
#include "ZRDownloadKit.h"

namespace {

using Clock = std::chrono::steady_clock;

void makeContent(const std::filesystem::path& folder, int mebibytes) {
  std::ofstream out(folder / "content.mp4", std::ios::binary);
  std::vector<char> piece(1 << 20);
  for (int i = 0; i < mebibytes; ++i) {
    for (std::size_t at = 0; at < piece.size(); ++at)
      piece[at] = static_cast<char>(at * 31 + static_cast<std::size_t>(i));
    out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path folder = argc > 1 ? argv[1] : std::filesystem::temp_directory_path();
  const int mebibytes = argc > 2 ? std::atoi(argv[2]) : 1024;
  const BenchmarkHost host(folder);
  makeContent(host.folder(), mebibytes);
  const SendfileOrigin origin(host.folder().string());
  MeasuredLoop loop;
  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup(
      {{"fetch_73Info_Handler", ZRFetch73InfoHandler([&origin](const ZRDictionary&, const ZRReplyCompletion& reply) {
          reply(ZRDictionary{{"url", origin.url("/content.mp4")}}, std::nullopt);
        })}});
  const double processBefore = processorSecondsOfProcess();
  const double mainBefore = processorSecondsOfThread();
  const auto start = Clock::now();
  const auto task = ZRDownloadTask::taskWith73Params({{"vid", 1}, {"version", 1}});
  if (manager->addTask(task) != ZRAddTaskResult::Added) return 1;
  while (task->isExecuting()) loop.turn();
  const double wall = Seconds(Clock::now() - start).count();
  const double process = processorSecondsOfProcess() - processBefore;
  const double mainThread = processorSecondsOfThread() - mainBefore;
  std::printf("%d MiB in %.3f s (%.0f MiB/s), processor time %.3f s\n", mebibytes, wall, mebibytes / wall, process);
  std::printf("main thread: %.2f %% of the processor time, %ld turns, the longest %.3f ms\n",
              100 * mainThread / process, loop.turns(), loop.longest().count() * 1e3);
  return task->isFinished() ? 0 : 1;
}
