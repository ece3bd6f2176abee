#pragma once

#include "Options.h"

namespace CLI {
class App;
}

namespace zrdl {

/// Adds the commands with what each of them takes. What is said there goes into `options`, which must outlive `app`.
void addCommands(CLI::App& app, Options& options);

}  // namespace zrdl
