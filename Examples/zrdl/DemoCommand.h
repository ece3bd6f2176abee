#pragma once

#include "Options.h"
#include "Reporter.h"

namespace zrdl {

/// Downloads from an origin of its own on loopback into one folder, anew each time, and compares what arrived.
int runDemo(const Options& options, Reporter& reporter);

}  // namespace zrdl
