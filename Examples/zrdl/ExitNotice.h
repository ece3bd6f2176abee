#pragma once

#include <chrono>

namespace zrdl {

/// Tells on standard error what takes so long, should the process not have ended after `patience`: the library deletes
/// the files of removed tasks before the process goes. To be called when all else is done.
void explainSlowExit(std::chrono::milliseconds patience = std::chrono::milliseconds(500));

}  // namespace zrdl
