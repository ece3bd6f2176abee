#include <utility>

#include "ZRTaskRunner.h"

namespace {

/// Tasks whose last row the store did not take, until any row can be written again. Main loop's thread only.
std::vector<std::weak_ptr<ZRDownloadTask>>& lostRows() {
  static std::vector<std::weak_ptr<ZRDownloadTask>> tasks;
  return tasks;
}

}  // namespace

void ZRTaskRunner::syncStateToDB() {
  _syncStateToDB();
}

bool ZRTaskRunner::existInDB() {
  return _existInDB();
}

void ZRTaskRunner::insert2DBWithCompletion(const std::function<void(bool)>& completion) {
  _insert2DBWithCompletion(completion);
}

std::string ZRTaskRunner::sqlValueForKey(std::string_view column) const {
  for (const ZRColumn& known : table().columns()) {
    if (known.name == column) return ZRTaskTable::sqlValue(valueForKey(column), known.type);
  }
  return ZRTaskTable::sqlValue(valueForKey(column), ZRColumnType::None);
}

ZRTaskTable::ValueForKey ZRTaskRunner::fieldValues() const {
  return [this](std::string_view column) { return valueForKey(column); };
}

std::optional<std::string> ZRTaskRunner::insertCurrentTaskSQL() const {
  return table().insertSQL(fieldValues());
}

std::optional<std::string> ZRTaskRunner::updateTaskStatusSQL() const {
  return table().updateSQL(fieldValues(), pkid());
}

std::optional<std::string> ZRTaskRunner::queryPrimaryKeySQL() const {
  return table().queryPrimaryKeySQL(fieldValues());
}

std::string ZRTaskRunner::deleteTaskSQL() const {
  return table().deleteTaskSQL(pkid());
}

void ZRTaskRunner::_syncStateToDB(std::string first) {
  if (!hasRow()) return;
  const bool written = writeRow(std::move(first));
  if (!written && !rowIsLost_) {
    log(ZRLogLevel::Failure, "can't write the row of %@", *this);
    lostRows().push_back(weak_from_this());
  }
  rowIsLost_ = !written;
  if (!written) return;
  for (const auto& lost : std::exchange(lostRows(), {})) {
    const auto task = std::static_pointer_cast<ZRTaskRunner>(lost.lock());
    if (task && task->rowIsLost_) task->rowIsLost_ = !task->writeRow();
  }
}

bool ZRTaskRunner::writeRow(std::string first) {
  if (!hasRow()) return false;
  std::optional<std::string> row = updateTaskStatusSQL();
  if (first.empty()) return row && db()->executeUpdate(*row);
  if (row) return db()->executeTogether({std::move(first), *std::move(row)});
  (void)db()->executeUpdate(first);
  return false;
}

bool ZRTaskRunner::_existInDB() {
  const std::optional<std::string> sql = queryPrimaryKeySQL();
  bool exists = false;
  if (db() && sql) {
    db()->executeQuery(*sql, [&exists](ZRResultSet* rows) { exists = rows != nullptr && rows->next(); });
  }
  return exists;
}

void ZRTaskRunner::_insert2DBWithCompletion(const std::function<void(bool)>& completion) {
  const std::optional<std::string> insert = insertCurrentTaskSQL();
  const std::optional<std::string> query = queryPrimaryKeySQL();
  bool stored = db() && insert && query && db()->executeUpdate(*insert);
  if (stored) {
    db()->executeQuery(*query, [this](ZRResultSet* rows) {
      if (rows != nullptr && rows->next()) setPkid(rows->int64ForColumnIndex(0));
    });
    stored = pkid() != 0;
  }
  if (completion) completion(stored);
}

bool ZRTaskRunner::_cleanTSAndTaskInDB() {
  if (hasRow() && !db()->executeUpdate(deleteTaskSQL())) return false;
  setDb(nullptr);  // keys are used again: a late reply must not write into another task's row
  return true;
}

void ZRTaskRunner::setupTable(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, const ZRTaskTable& table) {
  if (!db) return;
  if (!db->tableExists(table.name())) (void)db->executeUpdate(table.createTaskTableSQL());
  (void)db->executeUpdate(table.createIndexSQL());  // without it look-ups are only slower
}

void ZRTaskRunner::loadTasks(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, const ZRTaskTable& table,
                             MakeRunner makeRunner, const char* logFormat, ZRTaskList& finishedArr,
                             ZRTaskList& unFinished) {
  if (!db) return;
  std::vector<std::shared_ptr<ZRTaskRunner>> tasks;
  db->executeQuery(table.queryAllTasksSQL(), [&](ZRResultSet* rows) {
    while (rows != nullptr && rows->next()) {
      const auto task = makeRunner();
      for (const ZRColumn& column : table.columns()) {
        const ZRValue value = rows->objectForColumn(column.name);
        if (!value.isAbsent()) task->setValueForKey(value, column.name);
      }
      task->setPkid(rows->objectForColumn("pkid").int64Value());
      task->rowLoaded();
      tasks.push_back(task);
    }
  });
  std::size_t finished = 0;
  for (const auto& task : tasks) finished += task->isFinished() ? 1 : 0;
  log(ZRLogLevel::Event, logFormat, finished, tasks.size());
  for (const auto& task : tasks) {
    const bool done = task->isFinished();
    if (!done) task->setTaskState(ZRTaskState::Paused);
    task->setDb(db);
    (done ? finishedArr : unFinished).push_back(task);
  }
}
