#include "Download.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>
#include <algorithm>
#include <cmath>

#include "FailureText.h"
#include "TaskView.h"

namespace player {
namespace {

constexpr int kBytesPerKiB = 1024;
constexpr double kLongestEstimate = 100 * 60 * 60;  // seconds

QString tr(const char* text) {
  return QCoreApplication::translate("Download", text);
}

QString textOf(const std::string& text) {
  return QString::fromStdString(text);
}

QString sizeText(qint64 bytes) {
  return QLocale().formattedDataSize(bytes, 1);
}

QString percentText(double progress) {
  return tr("%1 %").arg(static_cast<int>(std::clamp(progress, 0.0, 1.0) * 100));
}

/// Kinds name their picture differently.
QString coverOf(const ZRDictionary& info) {
  for (const char* const key : {"cover", "albumCover"}) {
    const std::string cover = info[key].textValue().value_or("");
    if (!cover.empty()) return textOf(cover);
  }
  return {};
}

QString amountText(const Download& download) {
  if (download.isFinished()) return sizeText(download.size);
  if (download.size <= 0) return download.bytes > 0 ? sizeText(download.bytes) : QString();
  return tr("%1 of %2").arg(sizeText(std::min(download.bytes, download.size)), sizeText(download.size));
}

QString timeText(int seconds) {
  const QString minutesAndSeconds = QStringLiteral("%1:%2").arg(seconds / 60 % 60).arg(seconds % 60, 2, 10, QChar('0'));
  if (seconds < 60 * 60) return minutesAndSeconds;
  return QStringLiteral("%1:%2").arg(seconds / 60 / 60).arg(minutesAndSeconds.rightJustified(5, QChar('0')));
}

QString timeLeftText(const Download& download) {
  const double left = static_cast<double>(download.size - download.bytes) / download.speed;
  if (download.size <= 0 || left < 0 || left > kLongestEstimate) return {};
  return tr("%1 left").arg(timeText(static_cast<int>(std::ceil(left))));
}

}  // namespace

Download Download::of(const ZRDownloadTask& task) {
  const site::TaskView view = site::TaskView::of(task);
  const ZRDictionary info = task.videoInfoDic().value_or(ZRDictionary());
  Download download;
  download.id = textOf(view.id);
  download.title = textOf(view.title);
  if (view.title == view.id) download.title = tr("Video %1").arg(textOf(info["vid"].textValue().value_or(view.id)));
  download.state = view.state;
  download.progress = view.progress;
  download.speed = view.speed * kBytesPerKiB;
  download.bytes = static_cast<qint64>(view.bytes);
  download.size = static_cast<qint64>(view.size);
  download.cover = coverOf(info);
  if (task.lastFailure()) download.message = failureText(*task.lastFailure());
  if (task.isErrored() && task.err()) download.message = failureText(*task.err());
  if (task.isFinished()) download.playablePath = textOf(view.path.value_or(""));
  return download;
}

QString stateText(const Download& download) {
  switch (download.state) {
    case ZRTaskState::Paused:
      return tr("Paused");
    case ZRTaskState::Waiting:
      return tr("Waiting");
    case ZRTaskState::Executing:
      return download.isStuck() ? tr("Nothing arrives") : tr("Downloading");
    case ZRTaskState::Errored:
      return tr("Failed");
    case ZRTaskState::Finished:
      return tr("Finished");
  }
  return {};
}

QString detailText(const Download& download) {
  if (download.isFailed() || download.isStuck()) return download.message;
  QStringList parts;
  if (!download.isFinished() && download.progress > 0) parts << percentText(download.progress);
  if (const QString amount = amountText(download); !amount.isEmpty()) parts << amount;
  return parts.join(QStringLiteral(" · "));
}

QString paceText(const Download& download) {
  if (!download.isRunning() || download.speed <= 0) return {};
  QStringList parts{tr("%1/s").arg(sizeText(static_cast<qint64>(download.speed)))};
  if (const QString left = timeLeftText(download); !left.isEmpty()) parts << left;
  return parts.join(QStringLiteral(" · "));
}

QString spokenText(const Download& download) {
  QStringList parts{download.title, stateText(download)};
  for (const QString& part : {detailText(download), paceText(download)}) {
    if (!part.isEmpty()) parts << part;
  }
  return parts.join(QStringLiteral(", "));
}

}  // namespace player
