#include "DownloadModel.h"

#include <algorithm>

namespace player {
namespace {

constexpr std::chrono::milliseconds kTick{500};

ZRTaskList allTasks(const ZRDownloadManager& manager) {
  ZRTaskList tasks = manager.allFinishedTaskArr();
  const ZRTaskList unfinished = manager.allUnFinishTaskArr();
  tasks.insert(tasks.end(), unfinished.begin(), unfinished.end());
  std::ranges::stable_sort(tasks, {}, [](const auto& task) { return task->timestamp(); });
  return tasks;
}

/// A tip that shows the text as it is; it may come from a server.
QString plainToolTip(const QString& text) {
  return QStringLiteral("<p>%1</p>").arg(text.toHtmlEscaped());
}

}  // namespace

DownloadModel::DownloadModel(ZRDownloadManager& manager, QObject* parent)
    : QAbstractListModel(parent), manager_(manager) {
  ticks_.setInterval(kTick);
  ticks_.callOnTimeout(this, &DownloadModel::refresh);
  for (const char* const name : {kZRDownloadTaskStateChangedNotifi, kZRDownloadTaskErrorNotifi}) {
    tokens_.push_back(
        ZRNotificationCenter::defaultCenter().addObserver(name, [this](const ZRNotification&) { refreshSoon(); }));
  }
  refresh();
}

int DownloadModel::rowOf(const QString& id) const {
  const auto found = std::ranges::find(rows_, id, [](const Row& row) { return row.download.id; });
  return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

bool DownloadModel::any(bool (Download::*wanted)() const) const {
  return std::ranges::any_of(rows_, [wanted](const Row& row) { return (row.download.*wanted)(); });
}

int DownloadModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant DownloadModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const Download& download = at(index.row());
  switch (role) {
    case Qt::DisplayRole:
      return download.title;
    case Qt::ToolTipRole:
      return download.isFailed() || download.isStuck() ? plainToolTip(download.message) : QVariant();
    case Qt::AccessibleTextRole:
      return spokenText(download);
    case DownloadRole:
      return QVariant::fromValue(download);
    default:
      return {};
  }
}

/// The library tells inside its operations, the lists of which are not final yet.
void DownloadModel::refreshSoon() {
  QMetaObject::invokeMethod(this, &DownloadModel::refresh, Qt::QueuedConnection);
}

void DownloadModel::refresh() {
  const ZRTaskList tasks = allTasks(manager_);
  dropRemoved(tasks);
  updateRows();
  appendNew(tasks);
  const bool moves = any(&Download::isRunning);
  if (moves != ticks_.isActive()) moves ? ticks_.start() : ticks_.stop();
}

void DownloadModel::dropRemoved(const ZRTaskList& tasks) {
  for (int row = rowCount() - 1; row >= 0; --row) {
    if (std::ranges::find(tasks, task(row)) != tasks.end()) continue;
    beginRemoveRows({}, row, row);
    rows_.erase(rows_.begin() + row);
    endRemoveRows();
  }
}

void DownloadModel::updateRows() {
  for (int row = 0; row < rowCount(); ++row) {
    Row& shown = rows_[static_cast<std::size_t>(row)];
    if (shown.isSettled()) continue;
    const Download now = Download::of(*shown.task);
    if (now == shown.download) continue;
    shown.download = now;
    emit dataChanged(index(row), index(row));
  }
}

void DownloadModel::appendNew(const ZRTaskList& tasks) {
  for (const std::shared_ptr<ZRDownloadTask>& task : tasks) {
    if (std::ranges::find(rows_, task, &Row::task) != rows_.end()) continue;
    beginInsertRows({}, rowCount(), rowCount());
    rows_.push_back({task, Download::of(*task)});
    endInsertRows();
  }
}

}  // namespace player
