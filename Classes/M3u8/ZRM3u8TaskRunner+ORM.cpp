#include "ZRArchivedText.h"
#include "ZRM3u8TaskRunner.h"

std::span<const ZRField<ZRM3u8TaskRunner>> ZRM3u8TaskRunner::fields() {
  using Self = ZRM3u8TaskRunner;
  using enum ZRColumnType;
  static constexpr ZRField<Self> kFields[] = {
      // Written for the look-up by key alone: what is loaded comes with the record.
      {"vid", [](const Self& task) { return ZRValue(task.vid()); }, nullptr, Integer},
      {"aid", [](const Self& task) { return ZRValue(task.aid()); }, nullptr, Integer},
      {"version", [](const Self& task) { return ZRValue(task.version()); }, nullptr, Integer},
      {"executingPhase", [](const Self& task) { return ZRValue(task.executingPhase()); },
       [](Self& task, const ZRValue& value) { task.setExecutingPhase(value.uint64Value()); }, Integer},
      zrField<Self, &Self::currentSegment_>("currentSegment", Integer),
      zrField<Self, &Self::totalSegment_>("totalSegment", Integer),
      zrField<Self, &Self::allDownloadedSegmentsBytes_>("allDownloadedSegmentsBytes", Integer),
      {"videoInfo", [](const Self& task) { return ZRValue(task.archivedVideoInfo()); },
       [](Self& task, const ZRValue& text) { task.setVideoInfo(zrUnarchivedRecord<ZRDownloadVideoInfo>(text)); }, Text},
      zrField<Self, &Self::stamp_>("stamp", Double),
      zrField<Self, &Self::timestamp_>("timestamp", Double),
      zrField<Self, &Self::activeTimestamp_>("activeTimestamp", Double),
      {"albumPic", [](const Self& task) { return task.albumPic_.value(); },
       [](Self& task, const ZRValue& value) {
         if (!value.isNull()) task.albumPic_ = ZRText::fromValue(value);  // NULL in the row stays an absent cover
       },
       Text},
  };
  return kFields;
}

const ZRTaskTable& ZRM3u8TaskRunner::taskTable() {
  static const ZRTaskTable table("task_meta_tb", zrColumnsOf<ZRM3u8TaskRunner>(), {"vid", "version"});
  return table;
}

void ZRM3u8TaskRunner::setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db) {
  ZRTabledTaskRunner::setupWithDB(db);
  setupTable(db, tsInfoTable());
}

bool ZRM3u8TaskRunner::_cleanTSAndTaskInDB() {
  if (hasRow()) (void)db()->executeUpdate(deleteAllTSSQLWithTaskId(pkid()));  // rows that stay have no task
  return ZRTaskRunner::_cleanTSAndTaskInDB();
}

const std::string& ZRM3u8TaskRunner::archivedVideoInfo() const {
  if (archivedVideoInfo_.empty()) archivedVideoInfo_ = zrArchivedText(videoInfo_.get());
  return archivedVideoInfo_;
}

const ZRTaskTable& ZRM3u8TaskRunner::tsInfoTable() {
  using enum ZRColumnType;
  static const ZRTaskTable table("ts_meta_tb", {{"idx", Integer}, {"task_id", Integer}, {"url", Text}},
                                 {"task_id", "idx"});
  return table;
}

std::optional<std::string> ZRM3u8TaskRunner::insertTsInfoSQLWithIdx(std::int64_t idx, std::int64_t taskId,
                                                                    const std::string& base64Url) {
  if (base64Url.empty()) return std::nullopt;
  return tsInfoTable().insertRowSQL({std::to_string(idx), std::to_string(taskId), "'" + base64Url + "'"});
}

std::string ZRM3u8TaskRunner::queryTSUrlSQLWithTaskId(std::int64_t taskId, std::int64_t idx) {
  return tsInfoTable().querySQL("url", {std::to_string(taskId), std::to_string(idx)});
}

std::string ZRM3u8TaskRunner::deleteTSSQLWithTaskId(const std::string& taskId, std::int64_t idx) {
  return tsInfoTable().deleteSQL({taskId, std::to_string(idx)});
}

std::string ZRM3u8TaskRunner::deleteAllTSSQLWithTaskId(std::int64_t taskId) {
  return tsInfoTable().deleteSQL({std::to_string(taskId)});
}

std::string ZRM3u8TaskRunner::deleteAllTSSQLWithTaskIds(const std::vector<std::int64_t>& taskIds) {
  return tsInfoTable().deleteAnySQL(taskIds);
}

void ZRM3u8TaskRunner::updateAllTsURL(const std::vector<std::string>& urls) {
  if (!db()) return;
  if (pkid() >= 1) (void)db()->executeUpdate(deleteAllTSSQLWithTaskId(pkid()));  // rows that stay are only older
  if (urls.empty()) return;
  std::vector<std::string> statements;
  statements.reserve(urls.size());
  std::int64_t idx = 0;
  for (const std::string& url : urls) {
    if (auto sql = insertTsInfoSQLWithIdx(idx++, pkid(), ZRBase64::encode(url))) statements.push_back(*std::move(sql));
  }
  (void)db()->executeTogether(statements);  // a segment without its row asks for the playlist again
}

std::optional<std::string> ZRM3u8TaskRunner::queryCurrentDownloadSegmentUrl() const {
  std::optional<std::string> url;
  if (!hasRow()) return url;
  db()->executeQuery(queryTSUrlSQLWithTaskId(pkid(), currentSegment_), [&url](ZRResultSet* rows) {
    if (rows == nullptr || !rows->next()) return;
    const std::vector<std::uint8_t> bytes = ZRBase64::decode(rows->textForColumnIndex(0).value_or(""));
    url.emplace(bytes.begin(), bytes.end());
  });
  return url;
}

void ZRM3u8TaskRunner::deleteTSSQLWithIdx(std::int64_t idx) {
  _syncStateToDB(deleteTSSQLWithTaskId(taskId(), idx));
}
