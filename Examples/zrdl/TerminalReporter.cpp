#include "TerminalReporter.h"

#include <algorithm>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

#include "ProgressBar.h"

namespace zrdl {
namespace {

constexpr const char* kClearToEndOfLine = "\x1b[K";
constexpr const char* kClearToEndOfScreen = "\x1b[J";

/// To the start of the line so many lines up; a terminal that echoes keys may have moved the cursor to the right.
std::string cursorUp(std::size_t lines) {
  return lines == 0 ? "\r" : "\r\x1b[" + std::to_string(lines) + "A";
}

}  // namespace

TerminalSize TerminalSize::ofStandardOutput() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_col, size.ws_row};
}

TerminalReporter::TerminalReporter(std::ostream& out, std::function<TerminalSize()> size)
    : out_(out), size_(std::move(size)) {}

TerminalReporter::~TerminalReporter() {
  executing_.clear();
  redraw("");
}

void TerminalReporter::progress(const std::vector<TaskView>& executing) {
  executing_ = executing;
  redraw("");
}

void TerminalReporter::showLine(const std::string& text) {
  redraw(text + kClearToEndOfLine + "\n");
}

void TerminalReporter::showEnd(const TaskView& task, const std::string& text) {
  std::erase_if(executing_, [&task](const TaskView& other) { return other.id == task.id; });
  showLine(text);
}

std::string TerminalReporter::finishedLine(const TaskView& task) const {
  return progressBar(task, columns());
}

/// One column less than the terminal has: a full line would leave the cursor in doubt.
std::size_t TerminalReporter::columns() const {
  return size_().columns - 1;
}

std::string TerminalReporter::bars() const {
  const std::size_t room = std::max<std::size_t>(size_().rows, 2) - 1;
  const std::size_t count = std::min(executing_.size(), room);
  std::string text;
  for (std::size_t at = 0; at < count; ++at) text += progressBar(executing_[at], columns()) + kClearToEndOfLine + "\n";
  return text;
}

void TerminalReporter::redraw(const std::string& above) {
  const std::string below = bars();
  if (above.empty() && below.empty() && drawn_ == 0) return;
  out_ << cursorUp(drawn_) + above + below + kClearToEndOfScreen << std::flush;
  drawn_ = static_cast<std::size_t>(std::count(below.begin(), below.end(), '\n'));
}

}  // namespace zrdl
