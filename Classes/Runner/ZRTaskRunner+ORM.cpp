#include "ZRTaskRunner.h"

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
  for (const ZRColumn& known : _table().columns()) {
    if (known.name == column) return ZRTaskTable::sqlValue(valueForKey(column), known.type);
  }
  return ZRTaskTable::sqlValue(valueForKey(column), ZRColumnType::None);
}

std::optional<std::string> ZRTaskRunner::insertCurrentTaskSQL() const {
  return _table().insertSQL([this](std::string_view column) { return valueForKey(column); });
}

std::optional<std::string> ZRTaskRunner::updateTaskStatusSQL() const {
  return _table().updateSQL([this](std::string_view column) { return valueForKey(column); }, pkid());
}

std::string ZRTaskRunner::deleteTaskSQL() const {
  return _table().deleteTaskSQL(pkid());
}

void ZRTaskRunner::_syncStateToDB() {
  if (pkid() < 1 || !db()) return;
  const std::optional<std::string> sql = updateTaskStatusSQL();
  if (sql) (void)db()->executeUpdate(*sql);  // the fields in memory go on being right
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

void ZRTaskRunner::_cleanTSAndTaskInDB() {
  if (pkid() >= 1 && db()) (void)db()->executeUpdate(deleteTaskSQL());  // a row that stays is loaded again
}

void ZRTaskRunner::_setupTable(ZRDownloadDataBaseProtocol& db, const ZRTaskTable& table) {
  if (!db.tableExists(table.name())) (void)db.executeUpdate(table.createTaskTableSQL());
  (void)db.executeUpdate(table.createIndexSQL());  // without it look-ups are only slower
}

void ZRTaskRunner::_loadTasks(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, const ZRTaskTable& table,
                              MakeRunner makeRunner, const char* logFormat, ZRTaskList& finishedArr,
                              ZRTaskList& unFinished) {
  std::vector<std::shared_ptr<ZRTaskRunner>> tasks;
  db->executeQuery(table.queryAllTasksSQL(), [&](ZRResultSet* rows) {
    while (rows != nullptr && rows->next()) {
      const auto task = makeRunner();
      for (const ZRColumn& column : table.columns()) {
        const ZRValue value = rows->objectForColumn(column.name);
        if (!value.isAbsent()) task->setValueForKey(value, column.name);
      }
      task->setPkid(rows->objectForColumn("pkid").int64Value());
      task->_rowLoaded();
      tasks.push_back(task);
    }
  });
  std::size_t finished = 0;
  for (const auto& task : tasks) finished += task->isFinished() ? 1 : 0;
  _log(1, logFormat, finished, tasks.size());
  for (const auto& task : tasks) {
    const bool done = task->isFinished();
    if (!done) task->setTaskState(ZRTaskState::Paused);
    task->setDb(db);
    (done ? finishedArr : unFinished).push_back(task);
  }
}
