#pragma once

#include <functional>

#include "Options.h"
#include "Reporter.h"
#include "Session.h"

namespace zrdl {

/// Does what the command line asks for, and returns the process's exit status. Throws `site::UsageError` when a file
/// named there cannot be used.
int runCommand(const Options& options);

/// Sets the library up and runs the tasks that `begin` puts into the session.
int runTasks(const Options& options, site::Answers answers, Reporter& reporter,
             const std::function<void(Host&, Session&)>& begin);

}  // namespace zrdl
