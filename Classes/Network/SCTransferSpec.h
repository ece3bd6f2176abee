#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SCNetworkBaseApi.h"
#include "ZRError.h"

/// A request as the agent's thread needs it: copied once, so that the thread never looks at the request itself.
struct SCTransferSpec {
  /// The file that takes the body of a download.
  struct Target {
    std::string path;
    bool resume = false;
    bool reportsProgress = false;
  };

  std::string address;                     ///< with its query, every character legal
  std::vector<std::string> callerHeaders;  ///< `Name: value`
  std::chrono::milliseconds timeout{0};    ///< of the whole request; 0 is none
  std::shared_ptr<const SCNetworkResponseParser> parser;
  std::optional<Target> target;    ///< nothing for a plain request
  std::optional<ZRError> refusal;  ///< why the request cannot be sent

  /// Scheme, host and port that a plain request is sent to; empty for a download and for what cannot be sent.
  std::string plainOrigin() const;

  /// Main loop's thread.
  static SCTransferSpec of(const SCNetworkBaseApi& request);
};
