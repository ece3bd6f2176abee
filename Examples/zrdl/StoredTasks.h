#pragma once

#include <string>
#include <vector>

#include "Options.h"
#include "Reporter.h"

namespace zrdl {

/// The stored tasks of these ids, each once, in this order. An id that no task has is noted, and `allKnown` is false
/// then.
ZRTaskList tasksWithIds(const ZRDownloadManager& manager, const std::vector<std::string>& ids, Reporter& reporter,
                        bool& allKnown);

// The commands for tasks that are stored; they download nothing. Each returns the process's exit status.

int runList(const Options& options, Reporter& reporter);
int runRm(const Options& options, Reporter& reporter);
int runPath(const Options& options, Reporter& reporter);
int runExport(const Options& options, Reporter& reporter);

}  // namespace zrdl
