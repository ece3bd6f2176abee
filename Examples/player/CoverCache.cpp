#include "CoverCache.h"

#include <QFile>
#include <QImageReader>
#include <QNetworkReply>

namespace player {
namespace {

constexpr qint64 kLargestCover = 4LL * 1024 * 1024;

bool isAddress(const QString& source) {
  return source.startsWith(QStringLiteral("http://")) || source.startsWith(QStringLiteral("https://"));
}

}  // namespace

QPixmap CoverCache::cover(const QString& source) {
  if (source.isEmpty()) return {};
  if (const auto known = covers_.constFind(source); known != covers_.constEnd()) return *known;
  if (isAddress(source)) {
    covers_.insert(source, {});
    fetch(source);
    return {};
  }
  QFile file(source);
  const QPixmap picture = file.open(QIODevice::ReadOnly) ? read(file) : QPixmap();
  covers_.insert(source, picture);
  return picture;
}

void CoverCache::fetch(const QString& source) {
  QNetworkReply* const reply = network_.get(QNetworkRequest(QUrl(source)));
  connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received) {
    if (received > kLargestCover) reply->abort();
  });
  connect(reply, &QNetworkReply::finished, this, [this, reply, source] {
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) return;
    covers_.insert(source, read(*reply));
    emit loaded(source);
  });
}

/// Fills the whole size and cuts what is over.
QPixmap CoverCache::read(QIODevice& device) const {
  QImageReader reader(&device);
  const QSize original = reader.size();
  if (original.isEmpty()) return {};
  const QSize scaled = original.scaled(size_, Qt::KeepAspectRatioByExpanding);
  reader.setScaledSize(scaled);
  const QPoint corner((scaled.width() - size_.width()) / 2, (scaled.height() - size_.height()) / 2);
  reader.setScaledClipRect(QRect(corner, size_));
  return QPixmap::fromImageReader(&reader);
}

}  // namespace player
