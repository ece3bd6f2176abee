#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Base64 (RFC 4648, section 4, with padding).
class ZRBase64 {
 public:
  /// All on one line.
  static std::string encode(std::span<const std::uint8_t> bytes);
  static std::string encode(std::string_view text);

  /// In lines of 64 characters with CR LF between them, none at the end.
  static std::string encodeInLines(std::span<const std::uint8_t> bytes);

  /// Ignores every character outside the alphabet. A text whose length, so cleaned, fits no encoding gives no bytes.
  static std::vector<std::uint8_t> decode(std::string_view text);
};
