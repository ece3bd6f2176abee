#pragma once

#include <QAbstractListModel>
#include <QTimer>
#include <memory>
#include <vector>

#include "Download.h"
#include "ZRDownloadKit.h"

namespace player {

/// The manager's tasks as rows: those that were there first in the order of their time stamps, then new ones as they
/// come. A row keeps its place while its task goes from state to state.
///
/// The library tells of every change of a state or a list, and of every error. Progress is looked up twice a second
/// while a task runs. Thread of the main loop only.
class DownloadModel final : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role { DownloadRole = Qt::UserRole };  // a Download

  /// The manager must outlive the model.
  explicit DownloadModel(ZRDownloadManager& manager, QObject* parent = nullptr);

  const Download& at(int row) const { return rows_[static_cast<std::size_t>(row)].download; }
  const std::shared_ptr<ZRDownloadTask>& task(int row) const { return rows_[static_cast<std::size_t>(row)].task; }

  /// The row of that task; -1 when there is none.
  int rowOf(const QString& id) const;

  /// Whether `wanted` holds for one of the rows.
  bool any(bool (Download::*wanted)() const) const;

  /// Brings the rows up to date. Not from inside an operation of the library.
  void refresh();

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  struct Row {
    std::shared_ptr<ZRDownloadTask> task;
    Download download;

    bool isSettled() const { return download.isFinished() && !download.cover.isEmpty(); }
  };

  void refreshSoon();
  void dropRemoved(const ZRTaskList& tasks);
  void updateRows();
  void appendNew(const ZRTaskList& tasks);

  ZRDownloadManager& manager_;
  std::vector<Row> rows_;
  QTimer ticks_;
  std::vector<ZRNotificationCenter::Token> tokens_;
};

}  // namespace player

Q_DECLARE_METATYPE(player::Download)
