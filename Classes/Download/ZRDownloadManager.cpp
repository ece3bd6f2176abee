#include "ZRDownloadManager.h"

#include <algorithm>
#include <new>
#include <utility>

#include "SCNetworkAgent.h"
#include "ZRAnnouncements.h"
#include "ZRBackgroundQueue.h"
#include "ZRBaseFolders.h"
#include "ZRClock.h"
#include "ZRDownloadDataBase.h"
#include "ZRNotificationCenter.h"
#include "ZRPath.h"
#include "ZRRemovedFolders.h"
#include "ZRRunLoop.h"
#include "ZRThreadCheck.h"
#include "ZRValue.h"

const char kZRDownloadTaskCreatedSuccNotifi[] = "kZRDownloadTaskCreatedSuccNotifi";
const char kZRDownloadTaskFinishedNotifi[] = "kZRDownloadTaskFinishedNotifi";
const char kZRDownloadTaskStateChangedNotifi[] = "kZRDownloadTaskStateChangedNotifi";
const char kZRDownloadTaskErrorNotifi[] = "kZRDownloadTaskErrorNotifi";
const char kDownloadDir[] = "download";
const char kShareDownloadDir[] = "Oxwell";

namespace {

constexpr unsigned kReportTaskAdded = 201;

/// The process's manager and the lock around making and ending it.
struct Shared {
  std::mutex mutex;
  std::shared_ptr<ZRDownloadManager> manager;
};

Shared& shared() {
  // The services that the manager's end still needs are made first, so that they end after it.
  ZRBackgroundQueue::shared();
  ZRBackgroundQueue::disk();
  static const std::shared_ptr<ZRRunLoop> loop = ZRRunLoop::main();
  static Shared instance;
  return instance;
}

/// The callback under the key; an empty one when there is none, or one of another kind.
template <class Handler>
Handler handlerOf(const ZRDictionary& options, const ZROptionKey<Handler>& key) {
  const ZRRequestHandler* const handler = options[key.name].asRequestHandler();
  return handler != nullptr ? Handler(*handler) : Handler();
}

ZRLoggerHandler loggerOf(const ZRDictionary& options) {
  const ZRRecordHandler* const handler = options[kZROptionLoggerHandler.name].asRecordHandler();
  return handler != nullptr ? *handler : ZRLoggerHandler();
}

/// The lowest level that is delivered; a number beyond the levels counts as the one next to it.
unsigned loggerLevelOf(const ZRDictionary& options) {
  constexpr auto kHighest = static_cast<std::uint64_t>(ZRLogLevel::Failure);
  return static_cast<unsigned>(std::min(options[kZROptionLoggerLevel.name].uint64Value(), kHighest));
}

bool isOption(std::string_view key) {
  constexpr std::string_view kOptions[] = {
      kZROptionFetchMkeyHandler.name, kZROptionDecryptionHandler.name,  kZROptionFetch73InfoHandler.name,
      kZROptionLoggerHandler.name,    kZROptionLoggerLevel.name,        kZROptionReportHandler.name,
      kZROptionIgnoreH265.name,       kZROptionMaxConcurrentCount.name, kZROptionMaxBytesPerSecond.name,
      kZROptionM3u8CdnParams.name,
  };
  return std::find(std::begin(kOptions), std::end(kOptions), key) != std::end(kOptions);
}

/// The time that orders a task in a list: its album's, when the list holds an earlier task of it, else now.
double listTimestamp(const ZRDownloadTask& task, const ZRTaskList& tasks) {
  const std::optional<ZRTaskList> siblings = task.filtedSameAlbumTasks(tasks);
  if (siblings && !siblings->empty()) return siblings->front()->timestamp();
  return ZRClock::secondsSinceReferenceDate();
}

/// Whether one of the tasks lies in the folder, or does not tell where it lies.
bool mayHaveFilesIn(const std::string& folder, const ZRTaskList& tasks) {
  const auto bases = ZRBaseFolders::all();
  return std::ranges::any_of(tasks, [&](const auto& task) {
    const std::optional<std::string> file = task->localRelativeFilePath();
    return !file || std::ranges::any_of(bases, [&](const std::string& base) {
      return ZRPath::isBelow(ZRPath::append(base, *file), folder);
    });
  });
}

}  // namespace

std::shared_ptr<ZRDownloadManager> ZRDownloadManager::sharedManager() {
  Shared& process = shared();
  const std::lock_guard lock(process.mutex);
  if (!process.manager) process.manager.reset(new ZRDownloadManager);
  return process.manager;
}

void ZRDownloadManager::shutdown() {
  Shared& process = shared();
  std::shared_ptr<ZRDownloadManager> manager;  // dropped at the end, outside the lock: what dies with it may log
  {
    const std::lock_guard lock(process.mutex);
    manager = process.manager;
  }
  if (!manager) return;
  manager->pauseAllTasks();
  const std::lock_guard lock(process.mutex);
  process.manager.reset();
}

ZRDownloadManager::ZRDownloadManager() : announcements_(std::make_shared<ZRAnnouncements>()) {}

ZRDownloadManager::~ZRDownloadManager() {
  announcements_->clear();  // an observer ended the manager: what it still had to tell is of no use
}

void ZRDownloadManager::setup(ZRDictionary options) {
  zrAssertLoopThread();
  applyOptions(std::move(options));
  if (db_) return;
  try {
    db_ = std::make_shared<ZRDownloadDataBase>();
    ZRDownloadTask::setupWithDB(db_);
    loadTasks();
  } catch (const std::bad_alloc&) {
    db_ = nullptr;
    return log(ZRLogLevel::Failure, nullptr, "can't load the tasks: out of memory");
  }
  ZRRemovedFolders::sweep();
}

void ZRDownloadManager::applyOptions(ZRDictionary options) {
  setFetchMkeyHandler(handlerOf(options, kZROptionFetchMkeyHandler));
  setDecryptionHandler(handlerOf(options, kZROptionDecryptionHandler));
  loggerLevel_ = loggerLevelOf(options);
  setLoggerHandler(loggerOf(options));
  ignoreH265_ = options[kZROptionIgnoreH265.name].boolValue();
  setFetch73InfoHandler(handlerOf(options, kZROptionFetch73InfoHandler));
  if (const ZRValue& count = options[kZROptionMaxConcurrentCount.name]; !count.isAbsent()) {
    maxConcurrentOperationCount_ = static_cast<std::uint8_t>(count.int32Value());
  }
  for (const auto& [key, value] : options) {
    if (!isOption(key)) log(ZRLogLevel::Failure, nullptr, "unknown option: %@", key);
  }
  setOpts(std::move(options));
  if (networkAgent_) limitAgent();
}

void ZRDownloadManager::limitAgent() {
  networkAgent_->setMaxBytesPerSecond(opts_[kZROptionMaxBytesPerSecond.name].int64Value());
}

void ZRDownloadManager::setOpts(ZRDictionary opts) {
  const std::lock_guard lock(callbackMutex_);
  std::swap(opts_, opts);
}

void ZRDownloadManager::loadTasks() {
  ZRTaskList finished;
  ZRTaskList unFinished;
  const auto notes = ZRRemovedFolders::notes();
  const bool alone = !notes.empty() && db_->executeUpdate("BEGIN IMMEDIATE");  // no other process adds a task meanwhile
  ZRDownloadTask::loadTasksFromDB(db_, finished, unFinished);
  if (alone) {
    ZRRemovedFolders::settle(notes, [&](const std::string& folder) {
      return mayHaveFilesIn(folder, finished) || mayHaveFilesIn(folder, unFinished);
    });
    (void)db_->executeUpdate("COMMIT");
  }
  for (const auto& task : unFinished) {
    task->setNetworkAgent(networkAgent());
    setUpTaskHandlers(task);
  }
  finishedTaskArr_ = std::move(finished);
  unFinishedTaskArr_ = std::move(unFinished);
}

const std::shared_ptr<SCNetworkAgent>& ZRDownloadManager::networkAgent() {
  if (!networkAgent_) {
    networkAgent_ = std::make_shared<SCNetworkAgent>();
    limitAgent();
  }
  return networkAgent_;
}

void ZRDownloadManager::setUpTaskHandlers(const std::shared_ptr<ZRDownloadTask>& task) {
  task->setDb(db_);
  const std::weak_ptr<ZRDownloadManager> weakSelf = weak_from_this();
  task->addErrorNotifi([weakSelf](const std::shared_ptr<ZRDownloadTask>& errored, const ZRError& error) {
    if (const auto self = weakSelf.lock()) self->taskErrored(errored, error);
  });
  task->addCompletionNotifi([weakSelf](const std::shared_ptr<ZRDownloadTask>& completed) {
    if (const auto self = weakSelf.lock()) self->taskCompleted(completed);
  });
}

void ZRDownloadManager::taskErrored(const std::shared_ptr<ZRDownloadTask>& task, const ZRError& error) {
  zrAssertLoopThread();
  const ZRAnnouncements::Hold hold(*announcements_);
  announcements_->add(kZRDownloadTaskErrorNotifi, task);
  switch (static_cast<ZRErrorCode>(error.code())) {
    case ZRErrorCode::DiskFull:
    case ZRErrorCode::CannotReachServer:
      executingQueue_.clear();
      forceNotifiAllTaskOccurError(error);
      break;
    case ZRErrorCode::ConnectionLost:
      task->forceError(error);
      break;
    case ZRErrorCode::ResourceUnusable:
    case ZRErrorCode::Reserved:
    case ZRErrorCode::HostOffline:
    case ZRErrorCode::FileDeleted:
      task->forceError(error);
      std::erase(executingQueue_, task);
      if (task.get() != starting_) checkIfHasTaskCanEnQueue();
      break;
  }
}

void ZRDownloadManager::taskCompleted(const std::shared_ptr<ZRDownloadTask>& task) {
  zrAssertLoopThread();
  const ZRAnnouncements::Hold hold(*announcements_);
  task->setTimestamp(listTimestamp(*task, finishedTaskArr_));
  finishedTaskArr_.push_back(task);
  std::erase(unFinishedTaskArr_, task);
  std::erase(executingQueue_, task);
  task->switch2Finish();
  checkIfHasTaskCanEnQueue();
  ZRNotificationCenter::defaultCenter().post(kZRDownloadTaskFinishedNotifi, task);
}

ZRTaskList ZRDownloadManager::allFinishedTaskArr() const {
  zrAssertLoopThread();
  return finishedTaskArr_;
}

ZRTaskList ZRDownloadManager::allUnFinishTaskArr() const {
  zrAssertLoopThread();
  return unFinishedTaskArr_;
}

ZRTaskList ZRDownloadManager::executingQueue() const {
  zrAssertLoopThread();
  return executingQueue_;
}

ZRAddTaskResult ZRDownloadManager::addTask(std::shared_ptr<ZRDownloadTask> task) {
  zrAssertLoopThread();
  if (!task) return ZRAddTaskResult::Refused;
  task->setDb(db_);
  const ZRAnnouncements::Hold hold(*announcements_);
  if (task->existInDB()) return ZRAddTaskResult::Exists;
  task->setTimestamp(listTimestamp(*task, unFinishedTaskArr_));
  bool stored = false;
  task->insert2DBWithCompletion([&stored](bool success) { stored = success; });
  if (!stored) return ZRAddTaskResult::Refused;
  task->setNetworkAgent(networkAgent());
  setUpTaskHandlers(task);
  unFinishedTaskArr_.push_back(task);
  announceChange(task);  // also for one that is waiting already
  task->switch2Wait();
  log(ZRLogLevel::Event, nullptr, "add:%@", task);
  checkIfHasTaskCanEnQueue();
  if (!task->isExecuting()) task->preloadVideoInfoIfNeed();
  cc(kReportTaskAdded, task->reportedVersion());
  ZRNotificationCenter::defaultCenter().post(kZRDownloadTaskCreatedSuccNotifi, task);
  return ZRAddTaskResult::Added;
}

void ZRDownloadManager::removeTask(std::shared_ptr<ZRDownloadTask> task) {
  zrAssertLoopThread();
  if (!task) return;
  const ZRAnnouncements::Hold hold(*announcements_);
  log(ZRLogLevel::Event, nullptr, "rm:%@", task);
  if (task->isExecuting()) {
    task->switch2Pause();
    std::erase(executingQueue_, task);
    std::erase(unFinishedTaskArr_, task);
  } else {
    std::erase(task->isFinished() ? finishedTaskArr_ : unFinishedTaskArr_, task);
  }
  announceChange(task);
  task->cleanDownloadFiles();
  checkIfHasTaskCanEnQueue();
}

void ZRDownloadManager::setMaxConcurrentOperationCount(std::uint8_t count) {
  zrAssertLoopThread();
  const ZRAnnouncements::Hold hold(*announcements_);
  const std::lock_guard lock(limitMutex_);
  if (count == maxConcurrentOperationCount_) return;
  const bool raised = maxConcurrentOperationCount_ < count;
  maxConcurrentOperationCount_ = count;
  if (raised) {
    checkIfHasTaskCanEnQueue();
  } else {
    checkIfHasExecutingTaskCanReduce();
  }
  log(ZRLogLevel::Event, nullptr, "MaxConcurrent %u", count);
}

void ZRDownloadManager::announceChange(const std::shared_ptr<ZRDownloadTask>& task) {
  if (task) announcements_->add(kZRDownloadTaskStateChangedNotifi, task);
}

void ZRDownloadManager::fetchMkey(const ZRDictionary& request, ZRReplyCompletion completion) {
  zrAssertLoopThread();
  const ZRFetchMkeyHandler ask = fetchMkeyHandler_;  // the handler may replace itself
  if (ask) ask(request, std::move(completion));
}

void ZRDownloadManager::fetch73VideoInfo(const ZRDictionary& request, ZRReplyCompletion completion) {
  zrAssertLoopThread();
  const ZRFetch73InfoHandler ask = fetch73InfoHandler_;
  if (ask) ask(request, std::move(completion));
}
