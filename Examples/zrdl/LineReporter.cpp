#include "LineReporter.h"

#include "ProgressBar.h"

namespace zrdl {

void LineReporter::progress(const std::vector<TaskView>& executing) {
  for (const TaskView& task : executing) {
    const bool moves = task.speed > 0;
    showLine(name(task) + ": " + percentText(task) + (moves ? ", " + speedText(task.speed) : "") + ", " +
             bytesText(task) + (moves ? ", " + timeLeftText(task) + " left" : ""));
  }
}

void LineReporter::showLine(const std::string& text) {
  out_ << text << std::endl;
}

void LineReporter::showDiagnostic(const std::string& text) {
  err_ << text << std::endl;
}

std::string LineReporter::finishedLine(const TaskView& task) const {
  return name(task) + ": finished, " + sizeText(task.bytes);
}

}  // namespace zrdl
