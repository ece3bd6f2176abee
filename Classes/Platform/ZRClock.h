#pragma once

#include <functional>

#include "ZRTestExport.h"

/// The wall clock, in the two epochs that the library stores. Any thread.
class ZR_TEST_EXPORT ZRClock {
 public:
  /// Seconds since 1 January 2001 00:00:00 UTC, the reference date of `timestamp` and `activeTimestamp`.
  static double secondsSinceReferenceDate();

  /// Seconds since 1 January 1970 00:00:00 UTC.
  static double secondsSince1970();

  /// Replaces the clock by a function giving seconds since 1970; an empty one goes back to the system's. Not while
  /// another thread reads the clock.
  static void setSource(std::function<double()> source);
};
