#pragma once

#include <memory>
#include <string>

#include "ZRDownloadKit.h"

namespace site {

/// A task that somebody asks for.
struct TaskRequest {
  std::string kind{};  ///< "hls", "mp4" or "share"; any other kind is refused
  ZRDictionary params{};

  bool hasKnownKind() const { return kind == "hls" || kind == "mp4" || kind == "share"; }

  /// What keeps it from being stored, as far as the parameters show; empty when they show nothing.
  std::string storeFault() const;

  /// Null when the kind is unknown or the library refuses the parameters.
  std::shared_ptr<ZRDownloadTask> make() const;
};

}  // namespace site
