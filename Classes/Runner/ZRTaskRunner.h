#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "SCNetworkBaseApi.h"
#include "ZRDownloadManager.h"
#include "ZRDownloadTask.h"
#include "ZRRequestSlot.h"
#include "ZRRetryBudget.h"
#include "ZRTaskTable.h"

/// What the three runners share: the walk through the phases, stopping, the retry budget, the mapping of transport
/// errors, the end that waits for the disk, the removal of files and the task's row. A runner adds its phases and
/// fields through the hooks below.
///
/// Main loop's thread only.
class ZRTaskRunner : public ZRDownloadTask {
 public:
  ~ZRTaskRunner() override;

  // ZRTaskRunner.cpp: state.
  void resume() override;
  void switch2Pause() override;
  void switch2Wait() override;
  void forceError(const ZRError& error) override;
  void cleanDownloadFiles() override;

  /// Frees the folder's path at once and deletes the files in the background.
  void removeDownloadedFiles();

  /// Repeats the current phase a second from now, unless the task's state changes or it is stopped before. Offered to
  /// whoever receives the task's errors; no runner calls it.
  void justDelayRetry();

  std::uint64_t executingPhase() const noexcept { return executingPhase_; }
  bool hasRetryTimes() const noexcept { return retryBudget_.hasRetryTimes(); }
  void resetRetryTimes() noexcept { retryBudget_.reset(); }
  std::int64_t remainedFailedRetryTimes() const noexcept { return retryBudget_.remained(); }

  // ZRTaskRunner.cpp: how far the download is.

  /// Of the one file, those of earlier runs included.
  std::uint64_t downloadedBytes() const noexcept { return downloadedBytes_; }
  std::uint64_t receivedBytes() const override { return downloadedBytes_; }

  /// As the metadata tell, else as the server tells of the file in flight; the progress is of the former alone.
  std::uint64_t expectedBytes() const final;
  float currentDownloadProgress() const final;

  // ZRTaskRunner+ORM.cpp: the row.
  void syncStateToDB() override;
  bool existInDB() override;
  void insert2DBWithCompletion(const std::function<void(bool stored)>& completion) override;

  /// The SQL text of a column's value.
  std::string sqlValueForKey(std::string_view column) const;

  // Nothing when a text cannot stand in a statement.
  std::optional<std::string> insertCurrentTaskSQL() const;
  std::optional<std::string> updateTaskStatusSQL() const;
  virtual std::optional<std::string> queryPrimaryKeySQL() const;
  std::string deleteTaskSQL() const;

 protected:
  // Hooks.

  /// Starts the work of the current phase; a number that is no phase starts nothing.
  virtual void startPhase() = 0;

  /// Bytes of the video as its metadata tell; below 1 while they do not.
  virtual std::int64_t toldSize() const = 0;

  /// The record of an error that is about to be reported.
  virtual void logFailure(const ZRError&) const {}

  /// The task's own folder; it exists on return. Empty for a task that can have none: nothing of it is stored.
  virtual std::string videoSaveDir() const = 0;

  virtual const ZRTaskTable& table() const = 0;

  /// A field by its name; absent when there is none of that name.
  virtual ZRValue valueForKey(std::string_view name) const = 0;

  /// Sets a field by its name; an unknown name is ignored.
  virtual void setValueForKey(const ZRValue& value, std::string_view name) = 0;

  /// A row's fields are set: what follows from them beyond the fields themselves.
  virtual void rowLoaded() {}

  // ZRTaskRunner.cpp

  /// Writes the row, then starts the current phase if the task is executing.
  void _executeNextPhase();
  void setExecutingPhase(std::uint64_t phase) noexcept { executingPhase_ = phase; }

  /// The work is done: brings the task's folder to the disk, without a wait, and then reports the completion. Until
  /// then the task is executing and its row says what is true. Whatever stops the task before drops the report.
  /// `continued` is a file that a download may have continued: what is kept beside it goes once its data is durable.
  void finishWhenDurable(const std::string& continued = {});

  /// Stops the current request, a pending delayed retry and an end that waits for the disk.
  void _cancel();

  /// Whoever sets the state drops a pending delayed retry.
  void taskStateWasSet() override { slot_.dropRetry(); }

  /// Takes one retry; false when none is left.
  [[nodiscard]] bool spendRetry() noexcept { return retryBudget_.spend(); }

  /// Reports an error. A transport's becomes the task's own: -1005 code 101, -1004 and -1009 code 102, whatever its
  /// domain; every other error stays. The receiver decides the task's state.
  void throwErr(const ZRError& error);

  /// Executes a request as the current one.
  void start(const std::shared_ptr<SCNetworkBaseApi>& request) { slot_.start(networkAgent(), request); }
  void cancelCurrentReq() { slot_.cancelCurrent(); }
  std::optional<std::string> currentUrlString() const { return slot_.currentUrlString(); }

  /// A record with the empty tag.
  template <class... Args>
  static void log(ZRLogLevel level, const char* format, const Args&... args) {
    ZRDownloadManager::sharedManager()->log(level, nullptr, format, args...);
  }

  /// A number with six decimals, whatever the host's locale.
  static std::string fixed(double number);

  // ZRTaskRunner+ORM.cpp

  /// Writes the row, and runs `first` before, together with it; an empty one is none.
  void _syncStateToDB(std::string first = {});
  bool _existInDB();
  void _insert2DBWithCompletion(const std::function<void(bool stored)>& completion);

  /// Deletes the task's rows; the task writes none from then on. False when its row stays.
  [[nodiscard]] virtual bool _cleanTSAndTaskInDB();

  /// Whether the task stands in a store.
  bool hasRow() const noexcept { return pkid() >= 1 && db(); }

  using MakeRunner = std::shared_ptr<ZRTaskRunner> (*)();

  /// Makes the table and its index where they are missing; a table that is there is never altered.
  static void setupTable(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, const ZRTaskTable& table);

  /// A task for every row, finished and unfinished ones apart, in the order of the rows. Unfinished ones come back
  /// Paused, before they get the store, so that loading writes nothing. `logFormat` takes the counts of the finished
  /// and of all.
  static void loadTasks(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, const ZRTaskTable& table,
                        MakeRunner makeRunner, const char* logFormat, ZRTaskList& finishedArr, ZRTaskList& unFinished);

  std::uint64_t downloadedBytes_ = 0;
  std::uint64_t fileLength_ = 0;  // as the server tells of the one file, in this life of the task; 0 while unknown

  /// False until the runner has seen in this process that its files are as long as its row says, and again once a file
  /// was lost: a row may reach the disk before the files that it counts.
  bool filesAreKnown_ = false;

 private:
  /// One way to the end. Whoever waits for the disk holds it weakly.
  struct Finish {};

  void folderSynced(const std::optional<ZRError>& failure);
  ZRTaskTable::ValueForKey fieldValues() const;
  bool writeRow(std::string first = {});

  std::uint64_t executingPhase_ = 0;
  bool rowIsLost_ = false;          // the store did not take it when it was last written
  std::shared_ptr<Finish> finish_;  // null unless the end waits for the disk
  ZRRetryBudget retryBudget_;
  ZRRequestSlot slot_;
};
