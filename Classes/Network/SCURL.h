#pragma once

#include <string>
#include <string_view>

#include "ZRDictionary.h"

/// Addresses and header fields as texts, before an HTTP client sees them. Pure.
class SCURL final {
 public:
  /// `address` with the parameters that are texts or numbers appended as a URL-encoded query, before any fragment.
  /// What is escaped stays as it is; every character that no URL may hold is escaped (RFC 3986, section 2).
  static std::string build(std::string_view address, const ZRDictionary& queryParameters);

  /// Percent-escapes the characters that no URL may hold: controls, space, quotes, non-ASCII and a few others.
  static std::string escapeIllegal(std::string_view text);

  /// Percent-escapes everything but the unreserved characters.
  static std::string escapeComponent(std::string_view text);

  /// The scheme in lower case; empty when the text does not begin with one (RFC 3986, section 3.1).
  static std::string scheme(std::string_view address);

  /// True for an absolute http or https address that names a host.
  static bool isHttp(std::string_view address);

  /// Scheme, host and path: no user, no query, no fragment. A query that was appended without a "?" is left out too.
  static std::string forLog(std::string_view address);

  /// `Name: value`; empty when the name is no token or the value would end the line (RFC 9110, section 5).
  static std::string headerLine(std::string_view name, std::string_view value);
};
