#pragma once

#include <istream>
#include <string>
#include <vector>

#include "LabelledRequest.h"

namespace zrdl {

/// Reads one request a line: a JSON object with "kind" and the keys of that kind's parameters. Blank lines are skipped;
/// a line that is no JSON object is a request of no kind, which is refused like one of an unknown kind.
std::vector<LabelledRequest> readBatch(std::istream& in);

/// The same from a file, "-" being standard input. Throws `site::UsageError` when it cannot be read.
std::vector<LabelledRequest> readBatchFile(const std::string& file);

}  // namespace zrdl
