#pragma once

#include <string>
#include <string_view>

namespace zrdl {

/// Examples and exit statuses, below the options of `zrdl --help`.
std::string helpFooter();

/// Examples of one command, below its options.
std::string helpFooter(std::string_view command);

}  // namespace zrdl
