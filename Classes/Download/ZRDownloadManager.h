#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "ZRDictionary.h"
#include "ZRDownloadTask.h"
#include "ZRExport.h"
#include "ZRHostCallbacks.h"
#include "ZRLogArgument.h"
#include "ZROptions.h"

class SCNetworkAgent;
class ZRAnnouncements;

/// Posted with the task when `addTask` accepted it: stored, listed, waiting, and scheduled.
extern ZR_EXPORT const char kZRDownloadTaskCreatedSuccNotifi[];

/// Posted with the task when it is finished, in the finished list, and its slot was given to the next one.
extern ZR_EXPORT const char kZRDownloadTaskFinishedNotifi[];

/// Posted with the task after each change of its state or of the lists that it is in: added, moved, removed. It comes
/// when the operation that changed it has done all its work, for several tasks in the order of their changes, so lists
/// and states fit each other and an observer may call the manager. Loading stored tasks posts nothing.
extern ZR_EXPORT const char kZRDownloadTaskStateChangedNotifi[];

/// Posted with the task for every error that its runner reports, also one that leaves the task Executing; the error is
/// the task's `lastFailure`. It comes when the manager has done what the error's code asks for.
extern ZR_EXPORT const char kZRDownloadTaskErrorNotifi[];

/// The sub-folder of the application's folder for HLS and MP4 downloads and the database.
extern ZR_EXPORT const char kDownloadDir[];

/// The folder of LAN shares in the user's Movies folder.
extern ZR_EXPORT const char kShareDownloadDir[];

/// What became of a task handed to `ZRDownloadManager::addTask`.
enum class ZRAddTaskResult : unsigned {
  Refused = 0,  ///< the store did not take it; nothing else happened
  Exists = 1,   ///< the store holds it already; nothing happened
  Added = 2,
};

/// The library's entry point and the one object that a host talks to: it holds the host's options, the store, the HTTP
/// agent and the lists of tasks, and decides which tasks run.
///
///     auto manager = ZRDownloadManager::sharedManager();
///     manager->setup({{"fetch_73Info_Handler", ZRFetch73InfoHandler(askMySite)}, {"max_concurrent_count", 2}});
///     const auto task = ZRDownloadTask::taskWith73Params({{"vid", 123}, {"version", 2}});
///     const bool isNew = manager->addTask(task) == ZRAddTaskResult::Added;
///
/// Main loop's thread only, but for `sharedManager`, `log`, `loggerHandler`, `cc` and the folders' operations; the host
/// changes `ZRHost::current` at no time that another thread uses the last. A debug build asserts the thread in every
/// operation that does more than read or store a field. Callbacks of the host run inside these operations.
///
/// What a failing task does to the others, by the code of its error (whatever the domain):
///
/// | code | reaction |
/// |---|---|
/// | 100, 102 | every unfinished task goes to Errored, all slots are freed, nothing is started |
/// | 101 | this task goes to Errored and keeps its slot |
/// | 103 to 106 | this task goes to Errored, its slot goes to the next waiting task |
/// | any other | nothing: the task stays Executing until the host pauses or removes it |
class ZR_EXPORT ZRDownloadManager final : public std::enable_shared_from_this<ZRDownloadManager> {
 public:
  /// The process's manager, made by the first call. Any thread.
  static std::shared_ptr<ZRDownloadManager> sharedManager();

  /// Ends the library before the process does, for hosts that unload it: unfinished tasks are paused, transfers end,
  /// the store is closed. The next `sharedManager` makes a new manager.
  static void shutdown();

  ~ZRDownloadManager();
  ZRDownloadManager(const ZRDownloadManager&) = delete;
  ZRDownloadManager& operator=(const ZRDownloadManager&) = delete;

  /// Applies the options, all optional; one that is not in the table makes a record of level 2. The first call also
  /// opens the store and loads its tasks, unfinished ones as Paused. Starts nothing. A later call replaces options and
  /// callbacks only; where memory was missing for the tasks it loads them, until then there are none and no store.
  ///
  /// | option | value |
  /// |---|---|
  /// | "fetch_mky_handler" | `ZRFetchMkeyHandler`; without it an HLS task waits for its key for ever |
  /// | "decryption_handler" | `ZRDecryptionHandler` |
  /// | "logger_handler" | `ZRLoggerHandler`; without it nothing is logged anywhere |
  /// | "logger_level" | the lowest `ZRLogLevel` that is delivered; absent: all are |
  /// | "ignore_h265" | boolean, kept for the host to read |
  /// | "fetch_73Info_Handler" | `ZRFetch73InfoHandler`; without it an MP4 task waits for its metadata for ever |
  /// | "max_concurrent_count" | the limit, of which 8 bits count; no task is started or stopped by it here |
  /// | "max_bytes_per_second" | what all downloads together may receive in a second; 0 is no limit |
  /// | "cc_report_handler" | `ZRReportHandler` |
  /// | "m3u8_cdn_params" | dictionary of further query parameters of playlist requests |
  void setup(ZRDictionary options);

  /// Copies of the lists, in the order of loading and then of events; of those that hold a slot, a part of the
  /// unfinished ones, the longest admitted first.
  ///@{
  ZRTaskList allFinishedTaskArr() const;
  ZRTaskList allUnFinishTaskArr() const;
  ZRTaskList executingQueue() const;
  ///@}

  /// Stores the task, sets it Waiting and fills free slots; a task that does not start at once fetches its metadata.
  [[nodiscard]] ZRAddTaskResult addTask(std::shared_ptr<ZRDownloadTask> task);

  /// Stops the task, deletes its files and rows, and fills the freed slot.
  void removeTask(std::shared_ptr<ZRDownloadTask> task);

  /// How many tasks may run at once. Raising it starts waiting tasks; lowering it sends the newest running ones back to
  /// waiting.
  ///@{
  void setMaxConcurrentOperationCount(std::uint8_t count);
  std::uint8_t maxConcurrentOperationCount() const noexcept { return maxConcurrentOperationCount_; }
  ///@}

  /// What the options of the last `setup` made of it; a setter counts until the next `setup`. A callback is given as a
  /// copy, and one that is replaced while it runs lives until it has run.
  ///@{
  bool ignoreH265() const noexcept { return ignoreH265_; }
  void setIgnoreH265(bool ignore) noexcept { ignoreH265_ = ignore; }
  const ZRDictionary& opts() const noexcept { return opts_; }
  void setOpts(ZRDictionary opts);
  ZRFetchMkeyHandler fetchMkeyHandler() const { return fetchMkeyHandler_; }
  void setFetchMkeyHandler(ZRFetchMkeyHandler handler) { fetchMkeyHandler_.swap(handler); }
  ZRDecryptionHandler decryptionHandler() const { return decryptionHandler_; }
  void setDecryptionHandler(ZRDecryptionHandler handler) { decryptionHandler_.swap(handler); }
  ZRLoggerHandler loggerHandler() const;
  void setLoggerHandler(ZRLoggerHandler handler);
  ZRFetch73InfoHandler fetch73InfoHandler() const { return fetch73InfoHandler_; }
  void setFetch73InfoHandler(ZRFetch73InfoHandler handler) { fetch73InfoHandler_.swap(handler); }
  ///@}

  /// The store, null before `setup`. What is called on it may be called on any thread.
  const std::shared_ptr<ZRDownloadDataBaseProtocol>& db() const noexcept { return db_; }

  /// Fields that no host needs; a setter only stores: nothing is written, started, stopped or told by it.
  ///@{
  const ZRTaskList& finishedTaskArr() const noexcept { return finishedTaskArr_; }
  const ZRTaskList& unFinishedTaskArr() const noexcept { return unFinishedTaskArr_; }
  void setFinishedTaskArr(ZRTaskList tasks) { finishedTaskArr_ = std::move(tasks); }
  void setUnFinishedTaskArr(ZRTaskList tasks) { unFinishedTaskArr_ = std::move(tasks); }
  void setExecutingQueue(ZRTaskList tasks) { executingQueue_ = std::move(tasks); }
  void setDb(std::shared_ptr<ZRDownloadDataBaseProtocol> db) { db_ = std::move(db); }
  ///@}

  /// Posts `kZRDownloadTaskStateChangedNotifi` with the task when the operation under way is done; null does nothing.
  /// For tasks.
  void announceChange(const std::shared_ptr<ZRDownloadTask>& task);

  /// Asks the host for a playback key; without a handler the completion is never called. For runners.
  void fetchMkey(const ZRDictionary& request, ZRReplyCompletion completion);

  /// Asks the host for a second-site video's metadata; without a handler the completion is never called. For runners.
  void fetch73VideoInfo(const ZRDictionary& request, ZRReplyCompletion completion);

  // ZRDownloadManager+CC.cpp

  /// Makes a usage report: 201 a task was added, 202 a task finished; `version` is the video's version code. Any
  /// thread.
  void cc(unsigned stype, std::int32_t version);

  // ZRDownloadManager+File.cpp: folders. Each exists on return where it can be made; a file in its place is deleted.

  /// (Application Support folder)/(bundle identifier), with `sub` appended when given.
  static std::string offlineDataPath(const std::optional<std::string>& sub);

  /// (Movies folder), with `sub` appended when given.
  static std::string offlineShareDataPath(const std::optional<std::string>& sub);

  /// The folder of HLS and MP4 downloads and of the database.
  static std::string downloadBasePath();

  /// The folder of shared videos.
  static std::string downloadShareBasePath();

  /// `relative` below the download base folder; without it the application's own folder.
  static std::string pathByRelativeBasePath(const std::optional<std::string>& relative);

  /// `relative` below the share base folder; without it the Movies folder.
  static std::string pathByRelativeShareBasePath(const std::optional<std::string>& relative);

  /// The playable file of the shared manager's finished task with that id; nothing when there is none. Main loop's
  /// thread.
  ///@{
  static std::optional<std::string> relativeMoviePathWithTaskId(const std::string& taskId);
  static std::optional<std::string> fullMoviePathWithTaskId(const std::string& taskId);
  ///@}

  // ZRDownloadManager+Logger.cpp

  /// Hands a record to the host's logger, on the caller's thread. `format` is a printf format, "%@" standing for an
  /// object's description; a format that does not fit its arguments makes no record. A null tag is the empty one. A
  /// record below "logger_level" costs next to nothing: its arguments are not looked at. Any thread, also while the
  /// logger is replaced: a record that is under way may still reach the old one.
  template <class... Args>
  void log(ZRLogLevel level, const char* tag, const char* format, const Args&... args) {
    if (static_cast<unsigned>(level) < lowestHeard_.load(std::memory_order_relaxed)) return;
    const std::array<ZRLogArgument, sizeof...(Args)> arguments{ZRLogArgument(args)...};
    logArguments(level, tag, format, arguments);
  }

  // ZRDownloadManager+SwitchTask.cpp: scheduling.

  /// Lets the tasks want to run: paused and errored ones become Waiting, and free slots are filled.
  void starTasks(ZRTaskList tasks);

  /// Pauses every unfinished task; nothing is started.
  void pauseAllTasks();

  /// Pauses the task; its slot goes to the next waiting one. A finished task is left alone.
  void pauseTask(std::shared_ptr<ZRDownloadTask> task);

  /// Runs the task if there is a slot. Without one a waiting task displaces the longest-running one, and a paused or
  /// errored one becomes Waiting. A finished task is left alone.
  void resumeTask(std::shared_ptr<ZRDownloadTask> task);

 private:
  ZRDownloadManager();

  void applyOptions(ZRDictionary options);
  void loadTasks();

  /// The HTTP agent that all tasks share, made by the first call.
  const std::shared_ptr<SCNetworkAgent>& networkAgent();
  void limitAgent();

  void setUpTaskHandlers(const std::shared_ptr<ZRDownloadTask>& task);
  void taskErrored(const std::shared_ptr<ZRDownloadTask>& task, const ZRError& error);
  void taskCompleted(const std::shared_ptr<ZRDownloadTask>& task);

  // ZRDownloadManager+CC.cpp
  ZRReportHandler reportHandler() const;

  // ZRDownloadManager+Logger.cpp
  static constexpr unsigned kNobodyListens = std::numeric_limits<unsigned>::max();
  void logArguments(ZRLogLevel level, const char* tag, const char* format, std::span<const ZRLogArgument> arguments);

  // ZRDownloadManager+SwitchTask.cpp
  bool canExecuteMoreTask() const;
  bool needReduceTask() const;
  std::shared_ptr<ZRDownloadTask> nextTask();
  void checkIfHasTaskCanEnQueue();
  void checkIfHasExecutingTaskCanReduce();
  void forceNotifiAllTaskOccurError(const ZRError& error);

  // What the host has set.
  std::uint8_t maxConcurrentOperationCount_ = 3;
  bool ignoreH265_ = false;
  unsigned loggerLevel_ = 0;
  ZRFetchMkeyHandler fetchMkeyHandler_;
  ZRDecryptionHandler decryptionHandler_;
  ZRFetch73InfoHandler fetch73InfoHandler_;

  // The tasks, and what they share.
  ZRTaskList finishedTaskArr_;
  ZRTaskList unFinishedTaskArr_;
  ZRTaskList executingQueue_;  // those of unFinishedTaskArr_ that hold a slot, longest admitted first
  std::shared_ptr<ZRDownloadDataBaseProtocol> db_;
  std::shared_ptr<SCNetworkAgent> networkAgent_;

  // Of the operation under way.
  std::recursive_mutex limitMutex_;           // held by setMaxConcurrentOperationCount alone
  const ZRDownloadTask* starting_ = nullptr;  // the task whose start a free slot has last put on the stack
  std::shared_ptr<ZRAnnouncements> announcements_;

  // Read on any thread and written on the main loop's, under callbackMutex_. No callback runs or dies under it.
  mutable std::mutex callbackMutex_;
  ZRDictionary opts_;
  ZRLoggerHandler loggerHandler_;
  std::atomic<unsigned> lowestHeard_ = kNobodyListens;  // spares lock and text of the records that nobody hears
};
