#include <regex>
#include <utility>

#include <gtest/gtest.h>

#include "DisplayText.h"

namespace zrdl {

TEST(DisplayText, whatSteersATerminalIsReplaced) {
  const std::pair<std::string, std::string> cases[] = {
      // "?" for the replacement
      {"a\x1b[2Jb\r\n\t\x7f", "a?[2Jb????"},
      {"\xC2\x9Bm", "?m"},          // a C1 control that begins a sequence
      {"\xE2\x80\xAEgpj", "?gpj"},  // right-to-left override
      {"演示 é 😀", "演示 é 😀"},
      {"a\xFFz", "a?z"},
      {"\xE6\xBC", "??"},            // ends inside a character
      {"\xC0\xAF", "??"},            // overlong
      {"\xED\xA0\x80", "???"},       // surrogate
      {"\xF4\x90\x80\x80", "????"},  // above U+10FFFF
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(std::regex_replace(printable(text), std::regex("\xEF\xBF\xBD"), "?"), expected);
  }
}

TEST(DisplayText, fittedTextTakesExactlyItsColumns) {
  struct Case {
    const char* text;
    std::size_t columns;
    const char* expected;
  };
  const Case cases[] = {{"abc", 5, "abc  "},
                        {"abcdef", 4, "abc…"},
                        {"演示视频", 8, "演示视频"},
                        {"演示视频", 7, "演示视…"},
                        {"演示视频", 6, "演示… "},
                        {"e\xCC\x81tude", 4, "e\xCC\x81tu…"},
                        {"⭐⭐", 3, "⭐…"},
                        {"abc", 1, "…"},
                        {"abc", 0, ""}};
  for (const Case& c : cases) {
    EXPECT_EQ(fitted(c.text, c.columns), c.expected);
    EXPECT_EQ(displayWidth(fitted(c.text, c.columns)), c.columns) << c.text;
  }
}

}  // namespace zrdl
