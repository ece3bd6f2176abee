#pragma once

#include <memory>
#include <string>

#include "ZRDownloadKit.h"

namespace zrdl {

/// A task that the user asked for.
struct TaskRequest {
  std::string kind;  ///< "hls", "mp4" or "share"; any other kind is refused
  ZRDictionary params;
  std::string label;     ///< how to name it to the user while it has no id
  std::size_t line = 0;  ///< of the batch that it stands in; 0 when it stands in none
  std::string fault{};   ///< what keeps it from being a task; empty when nothing is known to

  bool hasKnownKind() const { return kind == "hls" || kind == "mp4" || kind == "share"; }

  /// What keeps it from being stored, as far as the parameters show; empty when they show nothing.
  std::string storeFault() const;

  /// Null when the kind is unknown or the library refuses the parameters.
  std::shared_ptr<ZRDownloadTask> make() const;
};

}  // namespace zrdl
