#pragma once

#include <functional>
#include <ostream>

#include "HumanReporter.h"

namespace zrdl {

/// Columns and rows of a terminal.
struct TerminalSize {
  std::size_t columns = 80;
  std::size_t rows = 24;

  /// Of standard output, at this moment.
  static TerminalSize ofStandardOutput();
};

/// A bar for each executing task, redrawn in place below the lines of past events. Everything goes to one terminal in
/// one write a change, so that nothing flickers.
class TerminalReporter final : public HumanReporter {
 public:
  /// `size` is asked before every redraw.
  TerminalReporter(std::ostream& out, std::function<TerminalSize()> size);
  ~TerminalReporter() override;

  std::chrono::milliseconds progressInterval() const override { return std::chrono::milliseconds(200); }
  void progress(const std::vector<TaskView>& executing) override;

 private:
  void showLine(const std::string& text) override;
  void showEnd(const TaskView& task, const std::string& text) override;
  void showDiagnostic(const std::string& text) override { showLine(text); }
  std::string finishedLine(const TaskView& task) const override;

  /// Draws the bars anew, below `above`, which stays.
  void redraw(const std::string& above);
  std::string bars() const;
  std::size_t columns() const;

  std::ostream& out_;
  std::function<TerminalSize()> size_;
  std::vector<TaskView> executing_;
  std::size_t drawn_ = 0;  // lines of bars on the screen
};

}  // namespace zrdl
