#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "SCNetworkErrors.h"

/// An http or https address as the HTTP client reads it, so that what is checked is what is connected to.
struct SCAddress {
  std::string text;

  /// `BadURL` or `UnsupportedURL` for what is no such address.
  static std::variant<SCAddress, SCURLErrorCode> parse(const std::string& text);

  /// Scheme, host and port, in one spelling.
  std::string origin() const;

  /// Where a Location field points, seen from this address (RFC 3986, section 5).
  std::variant<SCAddress, SCURLErrorCode> resolve(std::string_view location) const;
};
