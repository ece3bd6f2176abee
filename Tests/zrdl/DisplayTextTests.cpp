#include <gtest/gtest.h>

#include "DisplayText.h"

namespace zrdl {

TEST(DisplayText, nothingThatSteersATerminalStaysInAText) {
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(printable("a\x1b[2Jb\r\n\t\x7f"), "a" + mark + "[2Jb" + mark + mark + mark + mark);
  EXPECT_EQ(printable("\xC2\x9B"
                      "31m"),
            mark + "31m");  // a C1 control that begins a sequence
  EXPECT_EQ(printable("\xE2\x80\xAE"
                      "gpj"),
            mark + "gpj");  // right-to-left override
  EXPECT_EQ(printable("演示 é 😀"), "演示 é 😀");
}

TEST(DisplayText, everyInvalidByteIsReplaced) {
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(printable("a\xFF"
                      "b"),
            "a" + mark + "b");
  EXPECT_EQ(printable("\xE6\xBC"), mark + mark);                        // ends inside a character
  EXPECT_EQ(printable("\xC0\xAF"), mark + mark);                        // overlong
  EXPECT_EQ(printable("\xED\xA0\x80"), mark + mark + mark);             // surrogate
  EXPECT_EQ(printable("\xF4\x90\x80\x80"), mark + mark + mark + mark);  // above U+10FFFF
}

TEST(DisplayText, fittedTextTakesExactlyItsColumns) {
  struct Case {
    const char* text;
    std::size_t columns;
    const char* expected;
  };
  const Case cases[] = {
      {"abc", 5, "abc  "},
      {"abcdef", 4, "abc…"},
      {"演示视频", 8, "演示视频"},
      {"演示视频", 7, "演示视…"},
      {"演示视频", 6, "演示… "},
      {"e\xCC\x81tude", 4, "e\xCC\x81tu…"},
      {"abc", 1, "…"},
      {"abc", 0, ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(fitted(c.text, c.columns), c.expected);
    EXPECT_EQ(displayWidth(fitted(c.text, c.columns)), c.columns) << c.text;
  }
}

}  // namespace zrdl
