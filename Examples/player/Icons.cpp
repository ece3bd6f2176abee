#include "Icons.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QTransform>

namespace player {
namespace {

constexpr double kGrid = 16;  // the glyphs are drawn on a square of this size

QPainterPath triangle() {
  QPainterPath path(QPointF(4, 2.5));
  path.lineTo(13.5, 8);
  path.lineTo(4, 13.5);
  path.closeSubpath();
  return path;
}

QPainterPath rectangles(std::initializer_list<QRectF> parts) {
  QPainterPath path;
  path.setFillRule(Qt::WindingFill);
  for (const QRectF& part : parts) path.addRoundedRect(part, 0.75, 0.75);
  return path;
}

/// An arrow onto a ground line.
QPainterPath download() {
  QPainterPath path = rectangles({{7, 1.5, 2, 6.5}, {2.5, 13, 11, 1.75}});
  path.moveTo(3.5, 7);
  path.lineTo(12.5, 7);
  path.lineTo(8, 11.75);
  path.closeSubpath();
  return path;
}

QPainterPath pauseSign() {
  return rectangles({{3.75, 2.5, 3, 11}, {9.25, 2.5, 3, 11}});
}

/// Twice the same, smaller, for what is done to all.
QPainterPath twice(const QPainterPath& path) {
  const QTransform small = QTransform::fromScale(0.62, 0.62);
  QPainterPath both = small.map(path);
  both.addPath(both.translated(6.1, 6.1));
  return both;
}

QPainterPath bin() {
  return rectangles({{2.5, 3, 11, 1.6},
                     {6, 1.4, 4, 1.6},
                     {3.75, 5.5, 1.6, 9},
                     {10.65, 5.5, 1.6, 9},
                     {3.75, 13, 8.5, 1.6},
                     {7.25, 6, 1.5, 6}});
}

/// A strip with its holes and the sign to play it.
QPainterPath film() {
  QPainterPath path;
  path.addRoundedRect(QRectF(1, 2.5, 14, 11), 1.2, 1.2);
  for (const double x : {2.0, 12.6}) {
    for (const double y : {3.9, 6.9, 9.9}) path.addRect(QRectF(x, y, 1.4, 2));
  }
  path.moveTo(6.2, 5.4);
  path.lineTo(10.6, 8);
  path.lineTo(6.2, 10.6);
  path.closeSubpath();
  return path;
}

QPainterPath pathOf(Glyph glyph) {
  switch (glyph) {
    case Glyph::Add:
      return rectangles({{7, 2, 2, 12}, {2, 7, 12, 2}});
    case Glyph::Play:
      return triangle();
    case Glyph::Resume:
      return download();
    case Glyph::Pause:
      return pauseSign();
    case Glyph::Remove:
      return bin();
    case Glyph::ResumeAll:
      return twice(download());
    case Glyph::PauseAll:
      return twice(pauseSign());
    case Glyph::Film:
      return film();
  }
  return {};
}

class GlyphEngine final : public QIconEngine {
 public:
  explicit GlyphEngine(Glyph glyph) : glyph_(glyph) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
    const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
    const double scale = std::min(rect.width(), rect.height()) / kGrid;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(rect.x() + (rect.width() - kGrid * scale) / 2, rect.y() + (rect.height() - kGrid * scale) / 2);
    painter->scale(scale, scale);
    painter->fillPath(pathOf(glyph_), QGuiApplication::palette().brush(group, QPalette::ButtonText));
    painter->restore();
  }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    QPixmap picture(size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    paint(&painter, picture.rect(), mode, state);
    return picture;
  }

  QIconEngine* clone() const override { return new GlyphEngine(*this); }

 private:
  Glyph glyph_;
};

}  // namespace

QIcon glyphIcon(Glyph glyph) {
  return QIcon(new GlyphEngine(glyph));
}

}  // namespace player
