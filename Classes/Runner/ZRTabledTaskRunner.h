#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ZRHostReply.h"
#include "ZRRequests.h"
#include "ZRTaskRunner.h"

/// What a runner class gets in its own type: its phases, its replies, its table. The class itself gives:
///
/// - `enum class Phase : std::uint64_t`, its phases from 0, and `static constexpr Phase kFinishedPhase`,
/// - `static std::span<const ZRField<Runner>> fields()`, its field table,
/// - `static const ZRTaskTable& taskTable()`, the table over those of them that are columns,
/// - `static constexpr const char* kLoadedLogFormat`, the log text of loading: finished tasks and all tasks.
template <class Runner, class Phase>
class ZRTabledTaskRunner : public ZRTaskRunner {
 public:
  static const ZRColumnMap& columnPropertiesForTaskTable() { return Runner::taskTable().columns(); }
  static std::string createTaskTableSQL() { return Runner::taskTable().createTaskTableSQL(); }
  static std::string queryAllTasksSQL() { return Runner::taskTable().queryAllTasksSQL(); }
  static std::string deleteTasksSQL(const std::vector<std::int64_t>& pkids) {
    return Runner::taskTable().deleteTasksSQL(pkids);
  }

  /// Makes the table where it is missing.
  static void setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db) {
    setupTable(db, Runner::taskTable());
  }

  /// Appends a task for every row to one of the lists.
  static void loadTasksFromDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, ZRTaskList& finishedArr,
                              ZRTaskList& unFinished) {
    const MakeRunner make = [] { return std::static_pointer_cast<ZRTaskRunner>(std::make_shared<Runner>()); };
    loadTasks(db, Runner::taskTable(), make, Runner::kLoadedLogFormat, finishedArr, unFinished);
  }

  void switch2Finish() final {
    setPhase(Runner::kFinishedPhase);
    setTaskState(ZRTaskState::Finished);
  }

  ZRValue valueForKey(std::string_view name) const final {
    const ZRField<Runner>* const field = zrFindField<Runner>(name);
    return field != nullptr ? field->get(static_cast<const Runner&>(*this)) : ZRValue();
  }

  void setValueForKey(const ZRValue& value, std::string_view name) final {
    const ZRField<Runner>* const field = zrFindField<Runner>(name);
    if (field != nullptr && field->set != nullptr) field->set(static_cast<Runner&>(*this), value);
  }

 protected:
  /// A row may hold a number that is no phase.
  Phase phase() const noexcept { return static_cast<Phase>(executingPhase()); }
  void setPhase(Phase phase) noexcept { setExecutingPhase(static_cast<std::uint64_t>(phase)); }

  /// Goes to `phase` and starts it.
  void executePhase(Phase phase) {
    setPhase(phase);
    _executeNextPhase();
  }

  /// This task as a reply holds it.
  std::weak_ptr<Runner> weak() { return std::static_pointer_cast<Runner>(weak_from_this().lock()); }

  /// What the host calls to answer a request: `answered(task, reply, error)`.
  template <class Answered>
  ZRHostReply hostReply(Answered answered) {
    return {weak(), std::move(answered)};
  }

  /// At a request's end: `ended(task, response)`, unless the task stopped executing.
  template <class Ended>
  SCNetworkBaseApi::ResponseHandler whileExecuting(Ended ended) {
    return [weak = weak(), ended = std::move(ended)](const auto&, const auto& response) {
      const auto self = weak.lock();
      if (self && self->isExecuting()) std::invoke(ended, *self, response);
    };
  }

  /// When more of a download has arrived: feeds the speed, then `grown(task, received, expected)`, both in bytes, the
  /// latter 0 while unknown.
  template <class Grown>
  SCNetworkDownloadApi::ProgressHandler counting(Grown grown) {
    return [weak = weak(), grown](const auto&, std::int64_t chunk, std::int64_t received, std::int64_t expected) {
      const auto self = weak.lock();
      if (!self) return;
      self->setTransferedPerSecond(self->transferedPerSecond() + chunk);
      grown(*self, static_cast<std::uint64_t>(received), static_cast<std::uint64_t>(expected));
    };
  }

  /// Downloads a video that is one file, from where a partial one ends, and calls `finish` when it is complete.
  void downloadFile(const std::string& url, const std::string& path, void (Runner::*finish)()) {
    const auto request = ZRRequests::makeDownload(url, path);
    request->setUseBreakpointContinuous(true);
    request->setProgressHandler(counting([](Runner& self, std::uint64_t received, std::uint64_t expected) {
      self.downloadedBytes_ = received;
      self.fileLength_ = expected;
    }));
    request->setResponseHandler(whileExecuting([finish](Runner& self, const SCNetworkApiResponseProtocol& response) {
      if (response.err()) return self.throwErr(*response.err());
      self.resetRetryTimes();
      (self.*finish)();
    }));
    cancelCurrentReq();
    start(request);
  }

  const ZRTaskTable& table() const final { return Runner::taskTable(); }

  /// The line of the state, which is set without its side effects.
  static constexpr ZRField<Runner> taskStateField() {
    return {"taskState", [](const Runner& task) { return ZRValue(static_cast<std::uint64_t>(task.taskState())); },
            [](Runner& task, const ZRValue& value) {
              task.updateTaskStateIvar(static_cast<ZRTaskState>(value.uint64Value()));
            },
            ZRColumnType::Integer};
  }
};
