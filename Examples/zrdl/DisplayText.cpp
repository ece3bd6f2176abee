#include "DisplayText.h"

#include <algorithm>
#include <iterator>

#include <utf8proc.h>

namespace zrdl {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kReplacementBytes = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct Decoded {
  char32_t character;
  std::size_t bytes;
};

/// The first character of a text that is not empty; an invalid byte reads as U+FFFD.
Decoded firstOf(std::string_view text) {
  utf8proc_int32_t character = 0;
  const auto* const bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &character);
  if (length <= 0) return {kReplacement, 1};
  return {static_cast<char32_t>(character), static_cast<std::size_t>(length)};
}

struct Range {
  char32_t first;
  char32_t last;
};

// C0 and C1 controls, direction marks and overrides, line and paragraph separators, the byte order mark.
constexpr Range kUnprintable[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},  {0x200E, 0x200F},
                                  {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF}};

bool isUnprintable(char32_t character) {
  return std::any_of(std::begin(kUnprintable), std::end(kUnprintable),
                     [character](const Range& range) { return character >= range.first && character <= range.last; });
}

std::size_t widthOf(char32_t character) {
  return static_cast<std::size_t>(utf8proc_charwidth(static_cast<utf8proc_int32_t>(character)));
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Decoded next = firstOf(text);
    const bool replaced = next.character == kReplacement || isUnprintable(next.character);
    result += replaced ? kReplacementBytes : text.substr(0, next.bytes);
    text.remove_prefix(next.bytes);
  }
  return result;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Decoded next = firstOf(text);
    width += widthOf(next.character);
    text.remove_prefix(next.bytes);
  }
  return width;
}

std::string fitted(std::string_view text, std::size_t columns) {
  if (const std::size_t width = displayWidth(text); width <= columns) {
    return std::string(text) + std::string(columns - width, ' ');
  }
  if (columns == 0) return "";
  std::string result;
  std::size_t used = 0;
  while (!text.empty()) {
    const Decoded next = firstOf(text);
    const std::size_t width = widthOf(next.character);
    if (used + width + 1 > columns) break;
    result += text.substr(0, next.bytes);
    used += width;
    text.remove_prefix(next.bytes);
  }
  return result + std::string(kEllipsis) + std::string(columns - used - 1, ' ');
}

}  // namespace zrdl
