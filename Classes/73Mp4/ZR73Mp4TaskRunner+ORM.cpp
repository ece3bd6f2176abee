#include "ZR73Mp4TaskRunner.h"

std::span<const ZRField<ZR73Mp4TaskRunner>> ZR73Mp4TaskRunner::fields() {
  using Self = ZR73Mp4TaskRunner;
  using enum ZRColumnType;
  static constexpr ZRField<Self> kFields[] = {
      zrField<Self, &Self::vid_>("vid", Integer),
      zrField<Self, &Self::version_>("version", Integer),
      {"site", [](const Self& task) { return ZRValue(task.site()); }, nullptr, Integer},
      zrField<Self, &Self::downloadedBytes_>("downloadedBytes", Integer),
      zrField<Self, &Self::stamp_>("stamp", Double),
      zrField<Self, &Self::videoName_>("videoName", Text),
      {"videoUrl", [](const Self&) { return ZRValue(); }, nullptr, Text},  // no field has this name; always NULL
      zrField<Self, &Self::vidoeUrl_>("vidoeUrl"),
      zrField<Self, &Self::timestamp_>("timestamp", Double),
      zrField<Self, &Self::activeTimestamp_>("activeTimestamp", Double),
      zrField<Self, &Self::cover_>("cover", Text),
      zrField<Self, &Self::duration_>("duration", Integer),
      zrField<Self, &Self::fileSize_>("fileSize", Integer),
      {"taskState", [](const Self& task) { return ZRValue(static_cast<std::uint64_t>(task.taskState())); },
       [](Self& task, const ZRValue& value) {
         task.updateTaskStateIvar(static_cast<ZRTaskState>(value.uint64Value()));
       },
       Integer},
  };
  return kFields;
}

ZRValue ZR73Mp4TaskRunner::valueForKey(std::string_view name) const {
  const auto* const field = zrFindField<ZR73Mp4TaskRunner>(name);
  return field != nullptr ? field->get(*this) : ZRValue();
}

void ZR73Mp4TaskRunner::setValueForKey(const ZRValue& value, std::string_view name) {
  const auto* const field = zrFindField<ZR73Mp4TaskRunner>(name);
  if (field != nullptr && field->set != nullptr) field->set(*this, value);
}

const ZRTaskTable& ZR73Mp4TaskRunner::taskTable() {
  static const ZRTaskTable table("task_73_meta_tb", zrColumnsOf<ZR73Mp4TaskRunner>(), "vid,version");
  return table;
}

void ZR73Mp4TaskRunner::setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db) {
  _setupTable(*db, taskTable());
}

void ZR73Mp4TaskRunner::loadTasksFromDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, ZRTaskList& finishedArr,
                                        ZRTaskList& unFinished) {
  const MakeRunner make = [] { return std::static_pointer_cast<ZRTaskRunner>(std::make_shared<ZR73Mp4TaskRunner>()); };
  _loadTasks(db, taskTable(), make, "73:%lu/%lu", finishedArr, unFinished);
}

std::optional<std::string> ZR73Mp4TaskRunner::queryPrimaryKeySQL() const {
  return "SELECT pkid from " + std::string(taskTable().name()) + " WHERE vid = " + std::to_string(vid_) +
         " and version = " + std::to_string(version_);
}
