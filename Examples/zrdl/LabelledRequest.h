#pragma once

#include <string>

#include "TaskRequest.h"

namespace zrdl {

/// A request, and how it is named to the user before there is a task.
struct LabelledRequest : site::TaskRequest {
  std::string label{};
  std::size_t line = 0;  ///< of the batch that it stands in; 0 when it stands in none
  std::string fault{};   ///< what keeps it from being a task; empty when nothing is known to
};

}  // namespace zrdl
