#include "Session.h"

#include <algorithm>

#include "ExitStatus.h"

namespace zrdl {
namespace {

constexpr std::chrono::milliseconds kTick{200};
constexpr std::chrono::hours kLongSleep{1};

}  // namespace

Session::Session(Host& host, Reporter& reporter, std::chrono::seconds giveUp)
    : host_(host),
      reporter_(reporter),
      giveUp_(giveUp),
      finishedToken_(ZRNotificationCenter::defaultCenter().addObserver(
          kZRDownloadTaskFinishedNotifi,
          [this](const ZRNotification& notification) { taskFinished(notification.objectAs<ZRDownloadTask>()); })),
      errorToken_(ZRNotificationCenter::defaultCenter().addObserver(
          kZRDownloadTaskErrorNotifi,
          [this](const ZRNotification& notification) { taskFailed(notification.objectAs<ZRDownloadTask>()); })),
      lastProgress_(Clock::now()) {
  scheduleTick();
}

Session::~Session() {
  host_.loop().cancel(tick_);
}

std::shared_ptr<ZRDownloadTask> Session::add(const LabelledRequest& request) {
  if (interrupted_) return nullptr;
  std::shared_ptr<ZRDownloadTask> task;
  std::string failure;
  if (request.fault.empty()) failure = host_.failureOf([&] { task = request.make(); });
  if (!task) return refuse(Refusal::Parameters, request, request.fault.empty() ? failure : request.fault);
  switch (host_.manager().addTask(task)) {
    case ZRAddTaskResult::Refused:
      return refuse(host_.hasStore() ? Refusal::Store : Refusal::NoStore, request, request.storeFault());
    case ZRAddTaskResult::Exists:
      return refuse(Refusal::Exists, request);
    case ZRAddTaskResult::Added:
      track(task);
      reporter_.created(TaskView::of(*task), request.kind);
      break;
  }
  return task;
}

void Session::start(const ZRTaskList& tasks) {
  for (const std::shared_ptr<ZRDownloadTask>& task : tasks) track(task);
  host_.manager().starTasks(tasks);
}

int Session::run() {
  while (!isOver()) {
    host_.loop().runUntil([this] { return isOver(); }, Clock::now() + kLongSleep);
  }
  if (interrupted_) pauseForLater();
  reporter_.summary(summary_);
  if (interrupted_) return kExitInterrupted;
  return summary_.allFinished() ? kExitAllFinished : kExitSomeNot;
}

void Session::pauseForLater() {
  host_.manager().pauseAllTasks();
  reporter_.note("interrupted: the unfinished tasks are paused");
}

void Session::interrupt() {
  interrupted_ = true;
  host_.loop().post([] {});  // has the loop look
}

std::nullptr_t Session::refuse(Refusal reason, const LabelledRequest& request, const std::string& fault) {
  ++summary_.refused;
  reporter_.refused(reason, request, fault);
  return nullptr;
}

void Session::track(const std::shared_ptr<ZRDownloadTask>& task) {
  open_.push_back({task, StallClock(Clock::now())});
}

bool Session::untrack(const std::shared_ptr<ZRDownloadTask>& task) {
  return std::erase_if(open_, [&task](const Entry& entry) { return entry.task == task; }) > 0;
}

void Session::taskFinished(const std::shared_ptr<ZRDownloadTask>& task) {
  if (!task || !untrack(task)) return;
  ++summary_.finished;
  reporter_.finished(TaskView::of(*task));
}

/// Settles the errored tasks at once: a later failure that stops every task would replace their errors by its own. A
/// task that executes on is told of, and may be told to stall later.
void Session::taskFailed(const std::shared_ptr<ZRDownloadTask>& task) {
  settleErrored();
  const bool isOpen = std::any_of(open_.begin(), open_.end(), [&](const Entry& entry) { return entry.task == task; });
  if (isOpen && task->lastFailure()) reporter_.failure(TaskView::of(*task), *task->lastFailure());
}

void Session::scheduleTick() {
  tick_ = host_.loop().postDelayed(kTick, [this] { tick(); });
}

void Session::tick() {
  const Clock::time_point now = Clock::now();
  settleErrored();
  settleStalled(now);
  reportProgress(now);
  scheduleTick();
}

void Session::settleErrored() {
  const std::vector<Entry> entries = open_;
  for (const Entry& entry : entries) {
    if (!entry.task->isErrored()) continue;
    untrack(entry.task);
    ++summary_.errored;
    reporter_.errored(TaskView::of(*entry.task), entry.task->err().value_or(ZRError("", 0, "")));
    giveSlotBack(entry.task);
  }
}

void Session::settleStalled(Clock::time_point now) {
  const bool slotsInUse = std::any_of(open_.begin(), open_.end(), [](const Entry& e) { return e.task->isExecuting(); });
  ZRTaskList silent;
  for (Entry& entry : open_) {
    const ZRDownloadTask& task = *entry.task;
    entry.clock.observe({.state = static_cast<int>(task.taskState()),
                         .progress = task.currentDownloadProgress(),
                         .receiving = task.transferedPerSecond() != 0 || task.currentDownloadSpeed() > 0,
                         .queued = task.isWaiting() && slotsInUse},
                        now);
    if (entry.clock.silence(now) >= giveUp_) silent.push_back(entry.task);
  }
  for (const std::shared_ptr<ZRDownloadTask>& task : silent) {
    untrack(task);
    ++summary_.stalled;
    reporter_.stalled(TaskView::of(*task), giveUp_, task->lastFailure());
    giveSlotBack(task);
  }
}

/// A task that lost its connection, or stalls, keeps its slot until it is paused; the waiting ones need it.
void Session::giveSlotBack(const std::shared_ptr<ZRDownloadTask>& task) {
  host_.manager().pauseTask(task);
}

void Session::reportProgress(Clock::time_point now) {
  if (now - lastProgress_ < reporter_.progressInterval()) return;
  lastProgress_ = now;
  std::vector<TaskView> executing;
  for (const Entry& entry : open_) {
    if (entry.task->isExecuting()) executing.push_back(TaskView::of(*entry.task));
  }
  reporter_.progress(executing);
}

}  // namespace zrdl
