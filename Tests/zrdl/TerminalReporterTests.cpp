#include <algorithm>
#include <sstream>
#include <utility>

#include <gtest/gtest.h>

#include "TerminalReporter.h"

namespace zrdl {
namespace {

TaskView running(const std::string& id) {
  return {
      .id = id, .title = "title of " + id, .state = ZRTaskState::Executing, .size = 100, .relative = {}, .path = {}};
}

class TerminalReporterTest : public testing::Test {
 protected:
  /// What was written since the last call.
  std::string taken() { return std::exchange(out_, std::ostringstream()).str(); }

  std::ostringstream out_;
  TerminalReporter reporter_{out_, [] { return TerminalSize{.columns = 80, .rows = 4}; }};
};

}  // namespace

TEST_F(TerminalReporterTest, barsAreRedrawnBelowTheLines) {
  reporter_.progress({running("73-1"), running("73-2")});
  EXPECT_EQ(taken().rfind("\rtitle of 73-1", 0), 0U);  // the first drawing moves up nowhere
  reporter_.note("careful");
  const std::string redrawn = taken();
  EXPECT_EQ(redrawn.rfind("\r\x1b[2Azrdl: careful\x1b[K\n", 0), 0U);
  EXPECT_NE(redrawn.find("title of 73-2"), std::string::npos);
  reporter_.finished(running("73-1"));
  const std::string after = taken();
  EXPECT_EQ(after.find("title of 73-1"), after.rfind("title of 73-1"));  // its last line alone, no bar below
  reporter_.progress({});
  EXPECT_EQ(taken(), "\r\x1b[1A\x1b[J");
}

TEST_F(TerminalReporterTest, barsLeaveALineOfTheScreenFree) {
  reporter_.progress({running("73-1"), running("73-2"), running("73-3"), running("73-4"), running("73-5")});
  const std::string drawn = taken();
  EXPECT_EQ(std::count(drawn.begin(), drawn.end(), '\n'), 3);
}

TEST_F(TerminalReporterTest, textsFromOutsideDoNotSteerTheTerminal) {
  reporter_.errored(running("73-1"), ZRError("d\x1b[1m", 7, "gone\x1b[2J\r"));
  reporter_.log(2, "", "http://h/\x1b]0;x\x07");
  const std::string text = taken();
  for (const char* const steering : {"\x1b[2J", "\x1b[1m", "\x1b]", "\r ("}) {
    EXPECT_EQ(text.find(steering), std::string::npos) << steering + 1;
  }
}

}  // namespace zrdl
