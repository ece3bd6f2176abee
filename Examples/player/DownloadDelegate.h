#pragma once

#include <QElapsedTimer>
#include <QStyledItemDelegate>
#include <QTimer>

#include "CoverCache.h"
#include "Download.h"

class QAbstractItemView;

namespace player {

/// Paints a row of the `DownloadModel`: cover, title, bar, what is there, state and speed. The bar of a download whose
/// size is unknown moves to and fro.
class DownloadDelegate final : public QStyledItemDelegate {
  Q_OBJECT

 public:
  /// The view that it paints for owns it.
  explicit DownloadDelegate(QAbstractItemView* view);

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  void paintCover(QPainter& painter, const QRect& rect, const Download& download) const;

  mutable CoverCache covers_;  // painting asks for covers
  mutable QTimer nextFrame_;   // runs while a bar that moves is painted
  QElapsedTimer age_;
};

}  // namespace player
