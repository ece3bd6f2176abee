#include "DownloadDelegate.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <chrono>
#include <cmath>

#include "DownloadModel.h"
#include "Icons.h"

namespace player {
namespace {

constexpr QSize kCover(96, 54);
constexpr int kMargin = 12;
constexpr int kGap = 6;
constexpr int kBarHeight = 6;
constexpr int kRadius = 4;
constexpr std::chrono::milliseconds kFrame{40};

/// Places of a row's parts.
struct Layout {
  QRect cover;
  QRect title;
  QRect state;
  QRect bar;
  QRect detail;
  QRect pace;
};

QFont titleFont(const QFont& font) {
  QFont bold = font;
  bold.setWeight(QFont::DemiBold);
  return bold;
}

int widthOf(const QString& text, const QFont& font) {
  return static_cast<int>(std::ceil(QFontMetricsF(font).horizontalAdvance(text))) + 1;
}

/// A bar says nothing about what is whole, or has never begun.
bool hasBar(const Download& download) {
  return !download.isFinished() && (!download.isFailed() || download.progress > 0);
}

Layout layoutOf(const QRect& row, const QFont& font, const Download& download) {
  const int line = QFontMetrics(font).height();
  const QRect inner = row.adjusted(kMargin, 0, -kMargin, 0);
  const int left = inner.left() + kCover.width() + kMargin;
  const int width = inner.right() - left + 1;
  const int bar = hasBar(download) ? kBarHeight + kGap : 0;
  const int top = inner.center().y() - (2 * line + kGap + bar) / 2;
  const int below = top + line + kGap + bar;
  const auto rightHand = [&](const QString& text, int y) {
    const int textWidth = text.isEmpty() ? 0 : widthOf(text, font);
    return QRect(inner.right() - textWidth + 1, y, textWidth, line);
  };
  Layout layout;
  layout.cover = QRect(QPoint(inner.left(), inner.center().y() - kCover.height() / 2), kCover);
  layout.state = rightHand(stateText(download), top);
  layout.title = QRect(left, top, layout.state.left() - kMargin - left, line);
  if (bar > 0) layout.bar = QRect(left, top + line + kGap, width, kBarHeight);
  layout.pace = rightHand(paceText(download), below);
  layout.detail = QRect(left, below, layout.pace.left() - kMargin - left, line);
  return layout;
}

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Base).lightness() < 128;
}

QColor failureColor(const QPalette& palette) {
  return isDark(palette) ? QColor(0xff, 0x8a, 0x80) : QColor(0xb3, 0x26, 0x1e);
}

QColor mixed(const QColor& a, const QColor& b, double share) {
  const auto part = [share](int from, int to) { return static_cast<int>(from + (to - from) * share); };
  return QColor(part(a.red(), b.red()), part(a.green(), b.green()), part(a.blue(), b.blue()));
}

QColor faint(const QPalette& palette, QPalette::ColorRole text, QPalette::ColorRole ground) {
  return mixed(palette.color(text), palette.color(ground), 0.35);
}

QColor barColor(const Download& download, const QPalette& palette) {
  if (download.isRunning()) return palette.color(QPalette::Highlight);
  if (download.isFailed()) return failureColor(palette);
  return mixed(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.5);
}

/// The part of the bar that is filled: as much as is there, or a piece that goes to and fro.
QRectF filledPart(const QRect& bar, const Download& download, qint64 milliseconds) {
  if (!download.isBusy()) {
    const double width = bar.width() * std::clamp(download.progress, 0.0, 1.0);
    return {bar.topLeft(), QSizeF(width > 0 ? std::max<double>(width, kBarHeight) : 0, kBarHeight)};
  }
  constexpr double kWay = 1600;  // milliseconds to the end and back
  constexpr double kPiece = 0.25;
  const double share = std::fmod(static_cast<double>(milliseconds), kWay) / kWay;
  const double place = (1 - std::abs(2 * share - 1)) * (1 - kPiece);
  return {bar.left() + place * bar.width(), static_cast<double>(bar.top()), kPiece * bar.width(), kBarHeight};
}

void paintBar(QPainter& painter, const QRect& rect, const QRectF& filled, const QColor& color,
              const QPalette& palette) {
  if (rect.isEmpty()) return;
  painter.setPen(Qt::NoPen);
  painter.setBrush(mixed(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.86));
  painter.drawRoundedRect(rect, kBarHeight / 2.0, kBarHeight / 2.0);
  if (filled.width() <= 0) return;
  painter.setBrush(color);
  painter.drawRoundedRect(filled, kBarHeight / 2.0, kBarHeight / 2.0);
}

void paintText(QPainter& painter, const QRect& rect, const QFont& font, const QColor& color, const QString& text,
               Qt::Alignment side = Qt::AlignLeft) {
  painter.setFont(font);
  painter.setPen(color);
  const QString fitting = QFontMetrics(font).elidedText(text, Qt::ElideRight, rect.width());
  painter.drawText(rect, static_cast<int>(side | Qt::AlignVCenter) | Qt::TextSingleLine, fitting);
}

}  // namespace

DownloadDelegate::DownloadDelegate(QAbstractItemView* view)
    : QStyledItemDelegate(view), covers_(kCover * view->devicePixelRatio()) {
  connect(&covers_, &CoverCache::loaded, view->viewport(), qOverload<>(&QWidget::update));
  age_.start();
  nextFrame_.setSingleShot(true);
  nextFrame_.setInterval(kFrame);
  nextFrame_.callOnTimeout(view->viewport(), qOverload<>(&QWidget::update));
}

QSize DownloadDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  const int texts = 2 * option.fontMetrics.height() + 2 * kGap + kBarHeight;
  return {3 * kCover.width(), std::max(texts, kCover.height()) + 2 * kMargin};
}

void DownloadDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const Download download = index.data(DownloadModel::DownloadRole).value<Download>();
  const Layout layout = layoutOf(option.rect, option.font, download);
  const bool selected = option.state.testFlag(QStyle::State_Selected);
  QPalette palette = option.palette;
  palette.setCurrentColorGroup(QPalette::Active);
  const QColor ground = selected ? mixed(palette.color(QPalette::Base), palette.color(QPalette::Highlight), 0.18)
                                 : palette.color(QPalette::Base);
  const QColor secondary = faint(palette, QPalette::Text, QPalette::Base);

  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->fillRect(option.rect, ground);
  paintCover(*painter, layout.cover, download);
  paintText(*painter, layout.title, titleFont(option.font), palette.color(QPalette::Text), download.title);
  paintText(*painter, layout.state, option.font, download.isFailed() ? failureColor(palette) : secondary,
            stateText(download), Qt::AlignRight);
  paintBar(*painter, layout.bar, filledPart(layout.bar, download, age_.elapsed()), barColor(download, palette),
           palette);
  if (download.isBusy() && !nextFrame_.isActive()) nextFrame_.start();
  paintText(*painter, layout.detail, option.font, download.isFailed() ? failureColor(palette) : secondary,
            detailText(download));
  paintText(*painter, layout.pace, option.font, secondary, paceText(download), Qt::AlignRight);
  painter->setPen(mixed(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.9));
  painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
  if (option.state.testFlag(QStyle::State_HasFocus)) {
    painter->setPen(palette.color(QPalette::Highlight));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(option.rect.adjusted(0, 0, -1, -1));
  }
  painter->restore();
}

void DownloadDelegate::paintCover(QPainter& painter, const QRect& rect, const Download& download) const {
  QPainterPath frame;
  frame.addRoundedRect(rect, kRadius, kRadius);
  painter.save();
  painter.setClipPath(frame);
  if (const QPixmap cover = covers_.cover(download.cover); !cover.isNull()) {
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(rect, cover);
  } else {
    painter.fillRect(
        rect, mixed(QApplication::palette().color(QPalette::Text), QApplication::palette().color(QPalette::Base), 0.9));
    const int side = kCover.height() / 2;
    glyphIcon(Glyph::Film)
        .paint(&painter, QRect(rect.center() - QPoint(side, side) / 2, QSize(side, side)), Qt::AlignCenter,
               QIcon::Disabled);
  }
  painter.restore();
}

}  // namespace player
