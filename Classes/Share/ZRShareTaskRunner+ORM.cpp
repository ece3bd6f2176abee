#include "ZRArchivedText.h"
#include "ZRShareTaskRunner.h"

std::span<const ZRField<ZRShareTaskRunner>> ZRShareTaskRunner::fields() {
  using Self = ZRShareTaskRunner;
  using enum ZRColumnType;
  static constexpr ZRField<Self> kFields[] = {
      // Written for the look-up by key alone: what is loaded comes with the model.
      {"vid", [](const Self& task) { return ZRValue::orAbsent(task.vid()); }, nullptr, Text},
      {"aid", [](const Self& task) { return ZRValue::orAbsent(task.aid()); }, nullptr, Text},
      zrField<Self, &Self::downloadedBytes_>("downloadedBytes", Integer),
      zrField<Self, &Self::timestamp_>("timestamp", Double),
      zrField<Self, &Self::activeTimestamp_>("activeTimestamp", Double),
      taskStateField(),
      {"shareDownloadModel", [](const Self& task) { return ZRValue(zrArchivedText(task.shareDownloadModel_.get())); },
       [](Self& task, const ZRValue& text) {
         task.shareDownloadModel_ = zrUnarchivedRecord<ZRShareDownloadModel>(text);
       },
       Text},
  };
  return kFields;
}

const ZRTaskTable& ZRShareTaskRunner::taskTable() {
  static const ZRTaskTable table("task_share_meta_tb", zrColumnsOf<ZRShareTaskRunner>(), {"vid", "aid"});
  return table;
}

std::optional<std::string> ZRShareTaskRunner::queryPrimaryKeySQL() const {
  std::optional<std::string> sql = ZRTabledTaskRunner::queryPrimaryKeySQL();
  if (sql) *sql += ' ';
  return sql;
}
