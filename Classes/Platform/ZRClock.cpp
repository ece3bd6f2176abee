#include "ZRClock.h"

#include <chrono>
#include <utility>

namespace {

/// From 1 January 1970 to 1 January 2001, in seconds.
constexpr double kReferenceDate = 978307200;

std::function<double()>& source() {
  static std::function<double()> function;
  return function;
}

}  // namespace

double ZRClock::secondsSinceReferenceDate() {
  return secondsSince1970() - kReferenceDate;
}

double ZRClock::secondsSince1970() {
  if (source()) return source()();
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void ZRClock::setSource(std::function<double()> newSource) {
  source() = std::move(newSource);
}
