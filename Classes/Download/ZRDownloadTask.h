#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZRDictionary.h"
#include "ZRDownloadDataBaseProtocol.h"
#include "ZRError.h"
#include "ZRExport.h"
#include "ZRObject.h"
#include "ZRValue.h"

class SCNetworkAgent;
class ZRTimer;
class ZRDownloadTask;

/// Tasks in the order of a list; each is shared with the manager.
using ZRTaskList = std::vector<std::shared_ptr<ZRDownloadTask>>;

/// Where a task stands. Stored as its number.
enum class ZRTaskState : std::uint64_t {
  Paused = 0,     ///< nothing in flight; also a task that was never started
  Waiting = 1,    ///< wants to run and has no slot
  Executing = 2,  ///< its runner walks its phases
  Errored = 3,    ///< stopped by the error in `err`; resumed like a paused one
  Finished = 4,   ///< its file is complete
};

/// One download: the state that the manager schedules by, the measured speed, and the two callbacks through which a
/// runner reports its end. The base of the three runners; a host makes tasks with the factories and hands them to
/// `ZRDownloadManager::addTask`.
///
/// The first group of members is for hosts. The second is how the manager and the runners talk to each other, and a
/// host leaves it alone: these members move one task and tell the manager nothing. A `resume` called by a host runs
/// beside the limit, a `switch2Pause` keeps a slot that nothing runs in, a `cleanDownloadFiles` leaves a task in the
/// lists whose files and row are gone, and a setter's value stands until the library sets its own. Hosts call
/// `resumeTask`, `pauseTask` and `removeTask` of the manager, or `switchState`.
///
/// Owned by the manager's lists; hosts may hold on to it. Main loop's thread only, but for `transferedPerSecond` and
/// `resetSpeedTimer`. A debug build asserts the thread where a task changes its state, reports, or measures its speed
/// or the disk.
class ZR_EXPORT ZRDownloadTask : public ZRObject, public std::enable_shared_from_this<ZRDownloadTask> {
 public:
  /// Called with a task that is done.
  using CompletionNotifi = std::function<void(const std::shared_ptr<ZRDownloadTask>& task)>;

  /// Called with a task and what stopped it.
  using ErrorNotifi = std::function<void(const std::shared_ptr<ZRDownloadTask>& task, const ZRError& error)>;

  ~ZRDownloadTask() override;

  // ---- What a host calls.

  // ZRDownloadTask+Runners.cpp: the one place that knows the runners.

  /// A task for an HLS video of the main service: {"aid", "vid", "site", "version": integers, "albumPic": text
  /// (optional)}. Null, with a log record, when the parameters are refused.
  static std::shared_ptr<ZRDownloadTask> taskWithParams(const ZRDictionary& params);

  /// A task for an MP4 of the second site: {"vid", "version": integers from 1, "cover": text (optional)}. Null, with a
  /// log record, when the parameters are refused.
  static std::shared_ptr<ZRDownloadTask> taskWith73Params(const ZRDictionary& params);

  /// A task for a video shared on the local network: {"vid", "albumId", "videoName", "shareUrl", "host", "albumName",
  /// "deviceName": texts, "fileSize": bytes, "duration": integer, "lanOnly": boolean}.
  static std::shared_ptr<ZRDownloadTask> taskWithShareParams(const ZRDictionary& params);

  // ZRDownloadTask.cpp: what every runner says about itself; here, the answers of a task that is no runner's.

  /// The video's metadata for the host: "title", "version", …; nothing when there is none.
  virtual std::optional<ZRDictionary> videoInfoDic() const;

  /// Whether the store holds a row with this task's key; false before the task was handed to `addTask`.
  virtual bool existInDB();

  /// A share's new parameters: "host", "videoName", "deviceName", "albumName". Other tasks have none.
  virtual void syncToDBWithShareParams(const ZRDictionary& params);

  /// Bytes of the video on disk, those of earlier runs included.
  virtual std::uint64_t receivedBytes() const;

  /// Bytes that the whole video is told to have; 0 while unknown. More than that may arrive.
  virtual std::uint64_t expectedBytes() const;

  /// The fraction done. Above 1 when the expected size was too small; 0 while it is unknown.
  virtual float currentDownloadProgress() const;

  /// The playable file's path below the download base folder; nothing for a task that has none.
  virtual std::optional<std::string> localRelativeFilePath() const;

  /// The same as an absolute path.
  virtual std::optional<std::string> localFullFilePath() const;

  /// Where an HLS video's playlist comes from, as its record tells; relative addresses in the playlist belong to it.
  /// Nothing before the record is there, and for the other kinds.
  virtual std::optional<std::string> m3u8Url() const;

  /// Those of `tasks` that are of this task's album, in their order; nothing for a kind that knows no albums.
  virtual std::optional<ZRTaskList> filtedSameAlbumTasks(const ZRTaskList& tasks) const;

  /// Names the task among all stored ones: its `pkid`, with a prefix in two of the runners.
  virtual std::string taskId() const;

  std::string description() const override;

  // ZRDownloadTask+State.cpp

  /// The state, whole or asked one by one.
  ///@{
  ZRTaskState taskState() const noexcept { return taskState_; }
  ZRTaskState currentDownloadState() const noexcept { return taskState_; }
  bool isPaused() const noexcept { return taskState_ == ZRTaskState::Paused; }
  bool isWaiting() const noexcept { return taskState_ == ZRTaskState::Waiting; }
  bool isExecuting() const noexcept { return taskState_ == ZRTaskState::Executing; }
  bool isErrored() const noexcept { return taskState_ == ZRTaskState::Errored; }
  bool isFinished() const noexcept { return taskState_ == ZRTaskState::Finished; }
  ///@}

  /// The user's toggle: pauses an executing task, resumes any other unfinished one, through the manager.
  void switchState();

  // ZRDownloadTask+Internal.cpp

  /// KiB per second, the mean of the last up to three seconds; 0 unless executing.
  double currentDownloadSpeed() const;

  // Fields.

  /// Primary key of the task's row; 0 while it was never stored.
  std::int64_t pkid() const noexcept { return pkid_; }

  /// Orders the lists shown to the user, in seconds since 2001; the tasks of an album share the first one's.
  double timestamp() const noexcept { return timestamp_; }

  /// When the task last began to wait or execute, in seconds since 2001; 0 when paused. Orders the waiting tasks.
  double activeTimestamp() const noexcept { return activeTimestamp_; }

  /// The last error that put the task into Errored.
  const std::optional<ZRError>& err() const noexcept { return err_; }

  /// What the runner reported last, also when its code left the task Executing; nothing once the task waits or executes
  /// anew, or is finished.
  const std::optional<ZRError>& lastFailure() const noexcept { return lastFailure_; }

  // ---- What the manager and the runners call.

  // ZRDownloadTask+Runners.cpp

  /// Lets every runner make its tables in `db`.
  static void setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db);

  /// Appends every stored task to one of the lists: HLS tasks first, then MP4 tasks, then shares.
  static void loadTasksFromDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, ZRTaskList& finishedArr,
                              ZRTaskList& unFinished);

  // ZRDownloadTask.cpp

  /// Inserts the task's row and learns its `pkid`; `completion` is called with the outcome before this returns.
  virtual void insert2DBWithCompletion(const std::function<void(bool stored)>& completion);

  /// Fetches metadata ahead of the download.
  virtual void preloadVideoInfoIfNeed();

  /// A runner's own clean-up, which ends with `completion`; no runner has one, and this does nothing.
  virtual void clean(const std::function<void()>& completion);

  /// Writes the task's row, when it has one.
  virtual void syncStateToDB();

  /// Keeps the error, stops what is in flight, and goes to Errored; `errorNotifi` is not called.
  virtual void forceError(const ZRError& error);

  /// Goes to Executing and starts or continues, whether a slot is free or not.
  virtual void resume();

  /// Goes to Finished.
  virtual void switch2Finish();

  /// Stops what is in flight and goes to Waiting.
  virtual void switch2Wait();

  /// Stops what is in flight and goes to Paused.
  virtual void switch2Pause();

  /// Deletes the task's files and rows.
  virtual void cleanDownloadFiles();

  // ZRDownloadTask+Internal.cpp

  /// Replaces the callback of the task's completion; the manager installs it.
  void addCompletionNotifi(CompletionNotifi notifi) { completionNotifi_ = std::move(notifi); }

  /// Replaces the callback of the task's failure; the manager installs it.
  void addErrorNotifi(ErrorNotifi notifi) { errorNotifi_ = std::move(notifi); }

  /// Reports the task as done. For runners.
  void invokeCompletionNotifi();

  /// Keeps the error as `lastFailure` and reports it; the receiver decides the task's state. For runners.
  void invokeErrorNotifi(const ZRError& error);

  /// The "version" of `videoInfoDic`, for the usage reports; 0 without one.
  std::int32_t reportedVersion() const;

  /// Free bytes of the volume of the home folder; 0, with a log record, when they cannot be read.
  std::uint64_t getFreeDiskspace() const;

  /// Whether more than 1 GiB is free. Asked before anything is written.
  bool hasEnoughDiskSpace() const;

  // Fields.

  /// Stores alone.
  ///@{
  void setPkid(std::int64_t pkid) noexcept { pkid_ = pkid; }
  void setTimestamp(double timestamp) noexcept { timestamp_ = timestamp; }
  void setActiveTimestamp(double activeTimestamp) noexcept { activeTimestamp_ = activeTimestamp; }
  void setErr(std::optional<ZRError> err) { err_ = std::move(err); }
  ///@}

  /// The store that the task writes itself into; null for a task that was not added.
  ///@{
  const std::shared_ptr<ZRDownloadDataBaseProtocol>& db() const noexcept { return db_; }
  void setDb(std::shared_ptr<ZRDownloadDataBaseProtocol> db) { db_ = std::move(db); }
  ///@}

  /// Bytes received since the last speed sample. Any thread.
  ///@{
  std::int64_t transferedPerSecond() const noexcept { return transferedPerSecond_.load(std::memory_order_relaxed); }
  void setTransferedPerSecond(std::int64_t bytes) noexcept {
    transferedPerSecond_.store(bytes, std::memory_order_relaxed);
  }
  ///@}

 protected:
  ZRDownloadTask();

  // ZRDownloadTask+State.cpp

  /// The one writer of the state: timer, `activeTimestamp`, the finish report, the row and the notification follow from
  /// it. Setting the state it has already does nothing of these.
  void setTaskState(ZRTaskState state);

  /// Called at the end of each `setTaskState`, also of one that changed nothing.
  virtual void taskStateWasSet() {}

  /// Sets the state alone; for rows that are loaded.
  void updateTaskStateIvar(ZRTaskState state) noexcept { taskState_ = state; }

  // ZRDownloadTask+Internal.cpp

  /// Samples the speed each second from now on. Any thread; takes effect on the main loop.
  void resetSpeedTimer();

  /// Parks the timer and forgets the samples.
  void invalidateSpeedTimer();

  /// Takes one sample.
  void calculateSpeed();

  /// The HTTP client, which is no part of the public interface; null for a task that was not added.
  const std::shared_ptr<SCNetworkAgent>& networkAgent() const noexcept { return networkAgent_; }

  /// Kept by the row, under these names in every runner's field table.
  ///@{
  double timestamp_ = 0;
  double activeTimestamp_ = 0;
  ///@}

 private:
  friend class ZRDownloadManager;  // which gives each task the agent

  void setNetworkAgent(std::shared_ptr<SCNetworkAgent> agent) { networkAgent_ = std::move(agent); }

  // ZRDownloadTask+State.cpp
  void enterState(ZRTaskState state);

  // Kept by the row, too.
  std::int64_t pkid_ = 0;
  ZRTaskState taskState_ = ZRTaskState::Paused;

  // Given by the manager.
  std::shared_ptr<ZRDownloadDataBaseProtocol> db_;
  std::shared_ptr<SCNetworkAgent> networkAgent_;
  CompletionNotifi completionNotifi_;
  ErrorNotifi errorNotifi_;

  // Of this run of the process.
  std::optional<ZRError> err_;
  std::optional<ZRError> lastFailure_;
  std::unique_ptr<ZRTimer> speedTimer_;
  std::vector<std::int64_t> speedSampleArr_;           // oldest first, at most 3
  std::atomic<std::int64_t> transferedPerSecond_ = 0;  // any thread
};
