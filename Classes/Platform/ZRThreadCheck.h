#pragma once

#include <cassert>

#include "ZRRunLoop.h"

/// Stands at the entry points that belong to the main loop's thread: a debug build stops when they are called on
/// another one, a release build does nothing.
inline void zrAssertLoopThread() {
  assert(ZRRunLoop::main()->isLoopThread() && "main loop's thread only");
}
