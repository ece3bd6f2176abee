#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>

#include "TerminalReporter.h"

namespace zrdl {
namespace {

TaskView running(const std::string& id) {
  TaskView task;
  task.id = id;
  task.title = "title of " + id;
  task.state = ZRTaskState::Executing;
  task.size = 100;
  return task;
}

/// What was written since the last call.
std::string taken(std::ostringstream& out) {
  std::string text = out.str();
  out.str("");
  return text;
}

class TerminalReporterTest : public testing::Test {
 protected:
  std::ostringstream out_;
  TerminalSize size_{.columns = 80, .rows = 4};
  TerminalReporter reporter_{out_, [this] { return size_; }};
};

}  // namespace

TEST_F(TerminalReporterTest, barsAreRedrawnInPlaceAndLinesStayAboveThem) {
  reporter_.progress({running("73-1"), running("73-2")});
  EXPECT_EQ(taken(out_).rfind("\rtitle of 73-1", 0), 0U);  // the first drawing moves up nowhere
  reporter_.note("careful");
  const std::string redrawn = taken(out_);
  EXPECT_EQ(redrawn.rfind("\r\x1b[2Azrdl: careful\x1b[K\n", 0), 0U);
  EXPECT_NE(redrawn.find("title of 73-2"), std::string::npos);
  TaskView done = running("73-1");
  done.state = ZRTaskState::Finished;
  reporter_.finished(done);
  const std::string after = taken(out_);
  EXPECT_EQ(after.find("title of 73-1"), after.rfind("title of 73-1"));  // its last line alone, no bar below
  reporter_.progress({});
  EXPECT_EQ(taken(out_), "\r\x1b[1A\x1b[J");
}

TEST_F(TerminalReporterTest, barsLeaveALineOfTheScreenFree) {
  reporter_.progress({running("73-1"), running("73-2"), running("73-3"), running("73-4"), running("73-5")});
  const std::string drawn = taken(out_);
  EXPECT_EQ(std::count(drawn.begin(), drawn.end(), '\n'), 3);
}

TEST_F(TerminalReporterTest, textsFromOutsideDoNotSteerTheTerminal) {
  TaskView task = running("73-1");
  task.title = task.id;
  reporter_.errored(task, ZRError("d\x1b[1m", 7, "gone\x1b[2J\r"));
  reporter_.log(2, "", "http://h/\x1b]0;x\x07");
  const std::string text = taken(out_);
  EXPECT_EQ(text.find("\x1b[2J"), std::string::npos);
  EXPECT_EQ(text.find("\x1b[1m"), std::string::npos);
  EXPECT_EQ(text.find("\x1b]"), std::string::npos);
  EXPECT_EQ(text.find("\r ("), std::string::npos);
}

}  // namespace zrdl
