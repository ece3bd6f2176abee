#include "LibraryFixture.h"
#include "ProbeTask.h"

namespace {

using Probes = std::vector<std::shared_ptr<ProbeTask>>;

/// Tasks "a", "b" and so on in given states, what is done with them, and where they are then.
struct Operation {
  int slots;
  const char* before;  // a state each: Paused, Waiting, eXecuting, Errored, Finished; "e" is errored and keeps its slot
  std::function<void(ZRDownloadManager& manager, const Probes& tasks)> run;
  const char* after;        // the states, a cleaned task as "*"; who holds a slot; the unfinished and the finished ones
  const char* record = "";  // made on the way
};

class ZRSwitchTaskTest : public LibraryFixture {
 protected:
  ZRSwitchTaskTest() {
    ZRClock::setSource([this] { return 978307200 + ++now_; });  // no two tasks begin to wait at once
  }

  /// A new manager with these tasks.
  Probes arrange(int slots, std::string_view states) {
    ZRDownloadManager::shutdown();
    manager()->setup(options({{"max_concurrent_count", slots}}));
    Probes tasks;
    for (std::size_t i = 0; i < states.size(); ++i) {
      tasks.push_back(std::make_shared<ProbeTask>(std::string(1, static_cast<char>('a' + i))));
      EXPECT_EQ(manager()->addTask(tasks[i]), ZRAddTaskResult::Added);
    }
    ZRTaskList finished;
    ZRTaskList unfinished;
    ZRTaskList queue;
    for (std::size_t i = 0; i < states.size(); ++i) {
      const char state = states[i] == 'e' ? 'E' : states[i];
      tasks[i]->updateTaskStateIvar(static_cast<ZRTaskState>(kStates.find(state)));
      (state == 'F' ? finished : unfinished).push_back(tasks[i]);
      if (states[i] == 'X' || states[i] == 'e') queue.push_back(tasks[i]);
    }
    manager()->setFinishedTaskArr(finished);
    manager()->setUnFinishedTaskArr(unfinished);
    manager()->setExecutingQueue(queue);
    log_.clear();
    return tasks;
  }

  static std::string namesOf(const ZRTaskList& tasks) {
    std::string names;
    for (const auto& task : tasks) names += task->taskId();
    return names;
  }

  static std::string picture(const Probes& tasks) {
    std::string text;
    for (const auto& task : tasks)
      text += task->cleans > 0 ? '*' : kStates.at(static_cast<std::size_t>(task->taskState()));
    return text + " " + namesOf(manager()->executingQueue()) + " " + namesOf(manager()->allUnFinishTaskArr()) + "/" +
           namesOf(manager()->allFinishedTaskArr());
  }

  static constexpr std::string_view kStates = "PWXEF";
  double now_ = 0;
};

/// An operation of the manager on the task at that place.
auto onTask(void (ZRDownloadManager::*operation)(std::shared_ptr<ZRDownloadTask>)) {
  return [=](std::size_t at) {
    return [=](ZRDownloadManager& manager, const Probes& tasks) { (manager.*operation)(tasks[at]); };
  };
}
const auto resume = onTask(&ZRDownloadManager::resumeTask);
const auto pause = onTask(&ZRDownloadManager::pauseTask);
const auto remove = onTask(&ZRDownloadManager::removeTask);
auto toggle(std::size_t at) {
  return [at](auto&, const Probes& tasks) { tasks[at]->switchState(); };
}
auto fail(std::size_t at, std::int64_t code) {
  return [=](auto&, const Probes& tasks) { tasks[at]->invokeErrorNotifi(ZRError("of any domain", code, "")); };
}
auto limit(std::uint8_t count) {
  return [count](auto& manager, const Probes&) { manager.setMaxConcurrentOperationCount(count); };
}
void startAll(ZRDownloadManager& manager, const Probes& tasks) {
  manager.starTasks({tasks.begin(), tasks.end()});
}

TEST_F(ZRSwitchTaskTest, operationsLeadFromStatesToStates) {
  for (const Operation& row : std::initializer_list<Operation>{
           {3, "XXXW", resume(1), "XXXW abc abcd/", "already in queue，reume it !"},
           {3, "XXXW", resume(3), "WXXX bcd abcd/", "wait a then resume:d"},
           {3, "XXXP", resume(3), "XXXW abc abcd/", "wait:d"},
           {3, "XXXE", resume(3), "XXXW abc abcd/", "wait:d"},
           {0, "W", resume(0), "W  a/", "wait:a"},
           {3, "XP", resume(1), "XX ab ab/", "enqueue before resume"},
           {3, "XE", resume(1), "XX ab ab/"},
           {1, "eE", resume(0), "XE a ab/"},
           {1, "FW", resume(0), "FW  b/a"},
           {3, "XXXW", pause(0), "PXXX bcd abcd/"},
           {3, "XXXW", pause(3), "XXXP abc abcd/", "没有并发的空间了！"},
           {1, "eW", pause(0), "PX b ab/", "startNextTask?"},
           {1, "FW", pause(0), "FW  b/a"},
           {1, "XW", toggle(0), "PX b ab/"},
           {1, "XW", toggle(1), "WX b ab/"},
           {1, "P", toggle(0), "X a a/"},
           {1, "E", toggle(0), "X a a/"},
           {1, "F", toggle(0), "F  /a"},
           {3, "eXWPF", [](auto&manager, const Probes&) { manager.pauseAllTasks(); }, "PPPPF  abcd/e"},
           {1, "XW", startAll, "XW a ab/"},
           {3, "XWPEF", startAll, "XXXWF abc abcd/e"},
           {1, "W", [](auto&manager, const Probes&) { manager.starTasks({}); }, "X a a/"},
           {1, "XWPF", fail(0, 100), "EEEF  abc/d"},
           {1, "XW", fail(0, 101), "EW a ab/"},
           {1, "XW", fail(0, 103), "EX b ab/"},
           {1, "XW", fail(0, 106), "EX b ab/"},
           {1, "XW", fail(0, 404), "XW a ab/"},
           {1, "XW", fail(0, -1001), "XW a ab/"},
           {1, "XW", remove(0), "*X b b/", "rm:a"},
           {1, "WW", remove(0), "*X b b/"},
           {1, "FW", remove(0), "*X b b/"},
           {1, "eW", remove(0), "*W a b/"},  // it was in no transfer, so its slot stays taken
           {3, "XXXW", limit(1), "XWWW a abcd/", "冻结任务：c"},
           {1, "XWWW", limit(3), "XXXW abc abcd/", "MaxConcurrent 3"}}) {
    const auto tasks = arrange(row.slots, row.before);
    row.run(*manager(), tasks);
    EXPECT_EQ(picture(tasks), row.after) << row.before;
    EXPECT_TRUE(*row.record == '\0' || logged(0, row.record) || logged(1, row.record)) << row.record;
  }
}

TEST_F(ZRSwitchTaskTest, freedSlotGoesToTheTaskThatWaitsLongest) {
  const auto tasks = arrange(1, "XWWW");
  for (std::size_t i = 1; i < 4; ++i) tasks[i]->setActiveTimestamp(i == 1 ? 100 : 50);
  manager()->pauseTask(tasks[0]);
  EXPECT_EQ(picture(tasks), "PWXW c abcd/");
}

// Calls from inside a start, which runs the host's callbacks.

TEST_F(ZRSwitchTaskTest, callsFromInsideAStartAreDoneAtOnce) {
  const auto tasks = arrange(2, "XWW");
  const auto added = std::make_shared<ProbeTask>("d");
  std::vector<std::string> pictures;
  const auto token = ZRNotificationCenter::defaultCenter().addObserver(
      kZRDownloadTaskFinishedNotifi, [&](const ZRNotification&) { pictures.push_back(picture(tasks)); });
  tasks[1]->onResume = [&] {
    tasks[0]->invokeCompletionNotifi();
    manager()->setMaxConcurrentOperationCount(3);
    EXPECT_EQ(manager()->addTask(added), ZRAddTaskResult::Added);
    pictures.push_back(picture(tasks));
  };
  manager()->starTasks({});
  EXPECT_EQ(pictures, std::vector<std::string>({"FXX bc bc/a", "FXX bcd bcd/a"}));
  EXPECT_EQ(added->preloads, 0);
}

TEST_F(ZRSwitchTaskTest, longRowOfFailingTasksCostsNoStack) {
  const auto tasks = arrange(0, std::string(50, 'W'));
  int depth = 0;
  for (const auto& task : tasks) {
    task->onResume = [&depth, task = task.get()] {
      EXPECT_EQ(++depth, 1);
      task->invokeErrorNotifi({ZRErrorCode::ResourceUnusable, ""});
      --depth;
    };
  }
  manager()->setMaxConcurrentOperationCount(2);
  EXPECT_EQ(picture(tasks).substr(0, 50), std::string(50, 'E'));
}

}  // namespace
