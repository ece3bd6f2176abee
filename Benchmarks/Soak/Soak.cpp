// Adds, pauses, resumes and removes tasks by chance against an origin with faults, and restarts the library in between;
// checks after each step that the lists and slots are sound, and after each round that every file arrives whole, that
// removing leaves nothing, and that descriptors and memory stay. Usage: Soak [SECONDS [SEED]], 5 seconds by default.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>

#include "SoakContent.h"
#include "SoakOrigin.h"
#include "ZRDownloadKit.h"

namespace fs = std::filesystem;

namespace {

using Clock = ZRDefaultRunLoop::Clock;
using TaskPtr = std::shared_ptr<ZRDownloadTask>;

constexpr std::chrono::seconds kPatience{120};
constexpr int kStepsOfARound = 600;
constexpr long kMemoryMayGrow = 24L * 1024;  // KiB, from the second round on

void expect(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

/// Resident memory in KiB.
long residentMemory() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  statm >> pages >> pages;
  return pages * 4;
}

long openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

/// A host, its library and the origin of one round.
class Round final {
 public:
  Round(const TemporaryFolder& home, std::mt19937& random) : random_(random), origin_(static_cast<unsigned>(random())) {
    ZRRunLoop::setMain(loop_);
    ZRHostInfo host = ZRHostInfo::defaults();
    host.bundleIdentifier = "soak";
    host.applicationSupportFolder = home / "support";
    host.moviesFolder = home / "movies";
    host.videoInfoBaseURL = origin_.url("/info");
    ZRHost::setCurrent(host);
    start();
  }

  ~Round() {
    ZRDownloadManager::shutdown();
    ZRRunLoop::setMain(nullptr);
  }
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  void run() {
    for (int step = 0; step < kStepsOfARound; ++step) {
      act();
      loop_->runUntil([] { return false; }, Clock::now() + std::chrono::milliseconds(draw(4)));
      checkLists();
    }
    finishAll();
    removeAll();
  }

  std::size_t added() const { return added_; }

 private:
  static std::shared_ptr<ZRDownloadManager> manager() { return ZRDownloadManager::sharedManager(); }

  int draw(int end) { return std::uniform_int_distribution(0, end - 1)(random_); }

  void start() {
    manager()->setup({
        {"max_concurrent_count", 3},
        {"fetch_mky_handler", ZRFetchMkeyHandler([](const auto&, const auto& reply) { reply(ZRDictionary{}, {}); })},
        {"fetch_73Info_Handler", ZRFetch73InfoHandler([this](const ZRDictionary& request, const auto& reply) {
           const std::string name = request["vid"].textValue().value_or("");
           reply(ZRDictionary{{"title", "film"}, {"url", origin_.url("/" + name + ".mp4")}}, {});
         })},
        {"decryption_handler", ZRDecryptionHandler([this](const ZRDictionary& request, const auto& reply) {
           decrypt(request["localPath"].textValue().value_or(""), reply);
         })},
    });
    tasks_.clear();
    for (const ZRTaskList& list : {manager()->allUnFinishTaskArr(), manager()->allFinishedTaskArr()}) {
      for (const TaskPtr& task : list) expect(vids_.contains(task->taskId()), "an unknown task was stored");
      for (const TaskPtr& task : list) tasks_[vids_.at(task->taskId())] = task;
    }
    expect(tasks_.size() == vids_.size(), "a stored task is missing");
  }

  /// Writes a playlist where the library wants it, the video's number being the first of its name.
  void decrypt(const std::string& path, const ZRReplyCompletion& reply) const {
    std::ofstream(path) << "#EXTM3U\n";
    const std::string name = fs::path(path).filename();
    ZRValue::List segments;
    for (int index = 0; index < kSoakSegments; ++index) {
      segments.emplace_back(origin_.url("/" + name.substr(0, name.find('-')) + "/" + std::to_string(index) + ".ts"));
    }
    reply(ZRDictionary{{"tsArr", segments}}, {});
  }

  void act() {
    const int vid = draw(kSoakVideos) + 1;
    const auto found = tasks_.find(vid);
    const int what = draw(100);
    if (what == 0) return restart();
    if (what == 1) return manager()->pauseAllTasks();
    if (what == 2) return manager()->starTasks(manager()->allUnFinishTaskArr());
    if (what < 6) return manager()->setMaxConcurrentOperationCount(static_cast<std::uint8_t>(draw(6)));
    if (found == tasks_.end()) return add(vid);
    if (what < 25) return remove(found->second);
    if (what < 50) return manager()->pauseTask(found->second);
    manager()->resumeTask(found->second);
  }

  void restart() {
    ZRDownloadManager::shutdown();
    start();
  }

  void add(int vid) {
    const ZRDictionary params{{"vid", vid}, {"version", 2}, {"site", 1}};
    const TaskPtr task =
        isSoakMp4(vid) ? ZRDownloadTask::taskWith73Params(params) : ZRDownloadTask::taskWithParams(params);
    expect(manager()->addTask(task) == ZRAddTaskResult::Added, "a new task was refused");
    expect(manager()->addTask(task) == ZRAddTaskResult::Exists, "a task was stored twice");
    tasks_[vid] = task;
    vids_[task->taskId()] = vid;
    ++added_;
  }

  void remove(TaskPtr task) {  // a copy: the caller's stands in tasks_
    const std::string id = task->taskId();
    tasks_.erase(vids_.at(id));
    vids_.erase(id);
    manager()->removeTask(task);
  }

  void checkLists() const {
    const ZRTaskList finished = manager()->allFinishedTaskArr();
    const ZRTaskList unfinished = manager()->allUnFinishTaskArr();
    expect(finished.size() + unfinished.size() == tasks_.size(), "the lists hold other tasks than were added");
    for (const auto& [vid, task] : tasks_) {
      const auto& list = task->isFinished() ? finished : unfinished;
      expect(std::count(list.begin(), list.end(), task) == 1, "a task is not once in its list");
    }
    const auto running =
        std::count_if(unfinished.begin(), unfinished.end(), [](const auto& t) { return t->isExecuting(); });
    expect(running <= manager()->maxConcurrentOperationCount(), "more tasks run than may");
  }

  void finishAll() {
    origin_.beGood();
    manager()->pauseAllTasks();  // what waits for nothing goes on
    manager()->setMaxConcurrentOperationCount(6);
    const Clock::time_point deadline = Clock::now() + kPatience;
    while (!manager()->allUnFinishTaskArr().empty()) {
      expect(Clock::now() < deadline, "a task does not finish");
      manager()->starTasks(manager()->allUnFinishTaskArr());
      loop_->runUntil([] { return manager()->allUnFinishTaskArr().empty(); }, Clock::now() + std::chrono::seconds(1));
      checkLists();
    }
    restart();
    for (const auto& [vid, task] : tasks_) {
      expect(task->isFinished(), "a finished task is not stored as one");
      checkFiles(vid, task->localFullFilePath().value_or(""));
    }
  }

  static void checkFiles(int vid, const fs::path& path) {
    if (isSoakMp4(vid)) return expect(readFile(path) == soakMp4(vid), "an MP4 differs");
    expect(readFile(path) == "#EXTM3U\n", "a playlist differs");
    for (int index = 0; index < kSoakSegments; ++index) {
      const fs::path file = path.parent_path() / (std::to_string(index) + ".ts");
      expect(readFile(file) == soakSegment(vid, index), "a segment differs");
    }
  }

  void removeAll() {
    while (!tasks_.empty()) remove(tasks_.begin()->second);
    checkLists();
    const auto isClean = [] {
      const fs::directory_iterator folder(ZRDownloadManager::downloadBasePath());
      return std::none_of(begin(folder), end(folder), [](const auto& entry) { return entry.is_directory(); });
    };
    const Clock::time_point deadline = Clock::now() + kPatience;
    while (!isClean()) {
      expect(Clock::now() < deadline, "a removed task's folder stays");
      loop_->runUntil([] { return false; }, Clock::now() + std::chrono::milliseconds(5));  // a queue is at it
    }
    restart();
  }

  std::shared_ptr<ZRDefaultRunLoop> loop_ = std::make_shared<ZRDefaultRunLoop>();
  std::mt19937& random_;
  SoakOrigin origin_;
  std::map<int, TaskPtr> tasks_;     // by video
  std::map<std::string, int> vids_;  // by task id
  std::size_t added_ = 0;
};

void soak(std::chrono::seconds time, unsigned seed) {
  const TemporaryFolder home;
  std::mt19937 random(seed);
  const Clock::time_point end = Clock::now() + time;
  long memory = 0;
  long descriptors = 0;
  std::size_t added = 0;
  int rounds = 0;
  for (; rounds < 2 || Clock::now() < end; ++rounds) {
    {
      Round round(home, random);
      round.run();
      added += round.added();
    }
    if (rounds == 1) {
      memory = residentMemory();
      descriptors = openDescriptors();
    }
  }
  std::printf("%d rounds, %zu tasks, memory %ld to %ld KiB, descriptors %ld to %ld\n", rounds, added, memory,
              residentMemory(), descriptors, openDescriptors());
  expect(openDescriptors() <= descriptors, "descriptors stay open");
  expect(residentMemory() <= memory + kMemoryMayGrow, "memory grows");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--serve")
    return SoakOrigin::serve(static_cast<unsigned>(std::atoi(argv[2])));
  const std::chrono::seconds time{argc > 1 ? std::atoi(argv[1]) : 5};
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
  try {
    soak(time, seed);
    return 0;
  } catch (const std::exception& fault) {
    std::printf("seed %u: %s\n", seed, fault.what());
    return 1;
  }
}
