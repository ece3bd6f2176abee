#pragma once

#include "Options.h"

namespace CLI {
class App;
}

namespace zrdl {

/// Adds the options that every command has. What is said there goes into `options`, which must outlive `app`.
void addGlobalOptions(CLI::App& app, Options& options);

}  // namespace zrdl
