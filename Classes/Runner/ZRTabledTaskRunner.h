#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZRTaskRunner.h"

/// The operations of a runner class on its own table, derived from what the class itself gives:
///
/// - `static std::span<const ZRField<Runner>> fields()`, its field table,
/// - `static const ZRTaskTable& taskTable()`, the table over those of them that are columns,
/// - `static constexpr const char* kLoadedLogFormat`, the log text of loading: finished tasks and all tasks.
template <class Runner>
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
    _setupTable(db, Runner::taskTable());
  }

  /// Appends a task for every row to one of the lists.
  static void loadTasksFromDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, ZRTaskList& finishedArr,
                              ZRTaskList& unFinished) {
    const MakeRunner make = [] { return std::static_pointer_cast<ZRTaskRunner>(std::make_shared<Runner>()); };
    _loadTasks(db, Runner::taskTable(), make, Runner::kLoadedLogFormat, finishedArr, unFinished);
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
  const ZRTaskTable& _table() const final { return Runner::taskTable(); }

  /// The line of the state, which is set without its side effects.
  static constexpr ZRField<Runner> _taskStateField() {
    return {"taskState", [](const Runner& task) { return ZRValue(static_cast<std::uint64_t>(task.taskState())); },
            [](Runner& task, const ZRValue& value) {
              task.updateTaskStateIvar(static_cast<ZRTaskState>(value.uint64Value()));
            },
            ZRColumnType::Integer};
  }
};
