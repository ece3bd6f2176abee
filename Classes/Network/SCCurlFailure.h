#pragma once

#include <optional>
#include <string_view>

#include "SCNetworkErrors.h"

/// What libcurl's results mean to the layer. Pure.
class SCCurlFailure final {
 public:
  /// The code of a result (a CURLcode); nothing for a success. `systemError` is the number of a failed connect, `text`
  /// what libcurl's error buffer tells. Whatever is not told apart broke a connection.
  static std::optional<SCURLErrorCode> codeOf(int result, long systemError, std::string_view text);

  /// True for a name that was not found and an authority's file that was not read: libcurl does not tell whether the
  /// process lacked a descriptor for it.
  static bool isOfLookUp(int result);

  static bool isOfConnect(int result);
};
