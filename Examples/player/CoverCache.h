#pragma once

#include <QHash>
#include <QNetworkAccessManager>
#include <QObject>
#include <QPixmap>
#include <QSize>
#include <QString>

class QIODevice;

namespace player {

/// Pictures of downloads, from a file or from the web, scaled to one size. A picture that cannot be had stays null.
class CoverCache final : public QObject {
  Q_OBJECT

 public:
  /// `size` is in pixels of the screen.
  explicit CoverCache(QSize size, QObject* parent = nullptr) : QObject(parent), size_(size) {}

  /// The picture, when it is there; else null, and `loaded` follows when it has come from the web.
  QPixmap cover(const QString& source);

 signals:
  void loaded(const QString& source);

 private:
  void fetch(const QString& source);
  QPixmap read(QIODevice& device) const;

  const QSize size_;
  QNetworkAccessManager network_;
  QHash<QString, QPixmap> covers_;  // also those that are on their way
};

}  // namespace player
