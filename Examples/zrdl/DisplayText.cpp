#include "DisplayText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace zrdl {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kReplacementBytes = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct Decoded {
  char32_t character;
  std::size_t bytes;
};

/// How many bytes a character takes by its first one; 0 when none begins so.
std::size_t lengthOf(std::uint8_t first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  if (first >= 0xF0 && first < 0xF5) return 4;
  return 0;
}

/// The first character of a text that is not empty (RFC 3629); an invalid byte reads as U+FFFD.
Decoded firstOf(std::string_view text) {
  constexpr char32_t kFirstOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<std::uint8_t>(text[0]);
  const std::size_t length = lengthOf(first);
  if (length == 1) return {first, 1};
  if (length == 0 || length > text.size()) return {kReplacement, 1};
  char32_t character = first & (0x7FU >> length);
  for (std::size_t at = 1; at < length; ++at) {
    const auto next = static_cast<std::uint8_t>(text[at]);
    if ((next & 0xC0U) != 0x80U) return {kReplacement, 1};
    character = character << 6U | (next & 0x3FU);
  }
  const bool surrogate = character >= 0xD800 && character < 0xE000;
  if (character < kFirstOfLength[length] || surrogate || character > 0x10FFFF) return {kReplacement, 1};
  return {character, length};
}

struct Range {
  char32_t first;
  char32_t last;
};

// C0 and C1 controls, direction marks and overrides, line and paragraph separators, the byte order mark.
constexpr Range kUnprintable[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},  {0x200E, 0x200F},
                                  {0x2028, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF}};

// Combining marks, joiners and variation selectors of the scripts that titles are likely to use.
constexpr Range kZeroWidth[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},   {0x610, 0x61A},
                                {0x64B, 0x65F},   {0xE31, 0xE31},   {0xE34, 0xE3A},   {0xE47, 0xE4E},
                                {0x1AB0, 0x1AFF}, {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0x302A, 0x302D},
                                {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF}};

// East Asian wide and full-width characters, and the emoji that terminals draw as wide.
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},
                           {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
                           {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
                           {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t N>
bool isIn(const Range (&ranges)[N], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [character](const Range& range) { return character >= range.first && character <= range.last; });
}

std::size_t widthOf(char32_t character) {
  if (isIn(kZeroWidth, character)) return 0;
  return isIn(kWide, character) ? 2 : 1;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Decoded next = firstOf(text);
    const bool replaced = next.character == kReplacement || isIn(kUnprintable, next.character);
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
