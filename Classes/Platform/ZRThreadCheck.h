#pragma once

#include <cassert>

#include "ZRRunLoop.h"

/// Stands where something is done that belongs to the main loop's thread: a debug build stops when that happens on
/// another one, a release build does nothing. Operations that only read or store a field, mostly a line in a header,
/// and those that lead to one that asserts, are without it.
inline void zrAssertLoopThread() {
  assert(ZRRunLoop::main()->isLoopThread() && "main loop's thread only");
}
