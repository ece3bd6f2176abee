#pragma once

#include <QString>

#include "ZRDownloadKit.h"

namespace player {

/// What the window shows of a task, taken at one moment.
struct Download {
  QString id;
  QString title;  ///< the video's number when it has none
  ZRTaskState state = ZRTaskState::Paused;
  double progress = 0;   ///< fraction; 0 while the size is unknown
  double speed = 0;      ///< bytes per second
  qint64 bytes = 0;      ///< of the video so far
  qint64 size = 0;       ///< of the whole video; 0 while unknown
  QString cover;         ///< a path or an address; empty when there is none
  QString message;       ///< what failed last, in the window's language; empty when nothing did
  QString playablePath;  ///< empty unless it is finished

  static Download of(const ZRDownloadTask& task);

  bool isFinished() const { return state == ZRTaskState::Finished; }
  bool isFailed() const { return state == ZRTaskState::Errored; }
  bool isRunning() const { return state == ZRTaskState::Executing; }

  /// An error that leaves it running although nothing arrives any more.
  bool isStuck() const { return isRunning() && !message.isEmpty(); }

  /// Runs while its size is unknown.
  bool isBusy() const { return isRunning() && !isStuck() && size <= 0; }
  bool canPause() const { return isRunning() || state == ZRTaskState::Waiting; }
  bool canResume() const { return isFailed() || state == ZRTaskState::Paused; }

  friend bool operator==(const Download&, const Download&) = default;
};

// The texts of a row.

/// "Downloading", "Nothing arrives", "Waiting", "Paused", "Failed" or "Finished".
QString stateText(const Download& download);

/// How much is there, or why it failed.
QString detailText(const Download& download);

/// Speed and time left while it runs; empty otherwise.
QString paceText(const Download& download);

/// The whole row in one sentence, for screen readers.
QString spokenText(const Download& download);

}  // namespace player
