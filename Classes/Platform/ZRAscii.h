#pragma once

/// ASCII's letters and digits, whatever the locale. Pure.
class ZRAscii final {
 public:
  static constexpr bool isLetter(char c) noexcept { return lowered(c) >= 'a' && lowered(c) <= 'z'; }
  static constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
  static constexpr char lowered(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
};
