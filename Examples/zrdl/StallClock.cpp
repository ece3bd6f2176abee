#include "StallClock.h"

namespace zrdl {

void StallClock::observe(const Sign& sign, Clock::time_point now) {
  if (sign.receiving || sign.queued || sign != last_) lastLife_ = now;
  last_ = sign;
}

}  // namespace zrdl
