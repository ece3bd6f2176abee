#pragma once

#include <ostream>

#include "HumanReporter.h"

namespace zrdl {

/// Plain lines, for files and pipes. Each is flushed, so that a reader follows along.
class LineReporter final : public HumanReporter {
 public:
  LineReporter(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

  void progress(const std::vector<TaskView>& executing) override;

 private:
  void showLine(const std::string& text) override;
  void showDiagnostic(const std::string& text) override;
  std::string finishedLine(const TaskView& task) const override;

  std::ostream& out_;
  std::ostream& err_;
};

}  // namespace zrdl
