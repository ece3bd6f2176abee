#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

#include "ZRAscii.h"

/// How the texts of HTTP's header fields are read. Pure.
class SCFieldText final {
 public:
  /// Without the white space around it.
  static std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
  }

  /// The same but for the case of ASCII letters.
  static bool sameWord(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, ZRAscii::lowered, ZRAscii::lowered);
  }

  static bool beginsWithWord(std::string_view text, std::string_view word) {
    return sameWord(text.substr(0, word.size()), word);
  }

  /// Digits and nothing else.
  static std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (text.empty() || text.front() == '-' || error != std::errc{} || stop != end) return std::nullopt;
    return number;
  }
};
