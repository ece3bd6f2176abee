#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>
#include <chrono>
#include <functional>

/// Handles events until `predicate` holds; false when that took too long.
inline bool waitUntil(const std::function<bool()>& predicate) {
  constexpr std::chrono::seconds kLimit{60};
  const QDeadlineTimer deadline(kLimit);
  QTimer end;  // an event, so that the wait for one is over in time
  end.start(kLimit);
  while (!predicate() && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  return predicate();
}
