#include "HumanReporter.h"

#include <algorithm>

#include "DisplayText.h"
#include "ProgressBar.h"

namespace zrdl {
namespace {

/// What the library writes for an absent object.
constexpr std::string_view kAbsentObject = "(null)";

/// Text, cause where it says more, and the code.
std::string described(const ZRError& error) {
  std::string text = printable(error.localizedDescription());
  const std::string cause = printable(error.userInfo()[kZRErrorCauseKey].textValue().value_or(""));
  if (!cause.empty() && cause != text) text += ": " + cause;
  return text + " (" + printable(error.domain()) + " " + std::to_string(error.code()) + ")";
}

}  // namespace

std::string HumanReporter::name(const TaskView& task) {
  return task.title == task.id ? task.id : task.id + " " + printable(task.title);
}

void HumanReporter::created(const TaskView& task, std::string_view kind) {
  showLine(name(task) + ": added (" + std::string(kind) + ")");
}

void HumanReporter::finished(const TaskView& task) {
  if (task.path) finishedPaths_.push_back(printable(*task.path));
  showEnd(task, finishedLine(task));
}

void HumanReporter::errored(const TaskView& task, const ZRError& error) {
  showEnd(task, name(task) + ": failed: " + described(error));
}

void HumanReporter::failure(const TaskView& task, const ZRError& error) {
  showDiagnostic("zrdl: " + name(task) + ": nothing arrives: " + described(error));
}

void HumanReporter::stalled(const TaskView& task, std::chrono::seconds silence, const std::optional<ZRError>& failure) {
  showEnd(task, name(task) + ": stalled: nothing arrived for " + std::to_string(silence.count()) + " s" +
                    (failure ? ": " + described(*failure) : ""));
}

void HumanReporter::refused(Refusal reason, const LabelledRequest& request, std::string_view fault) {
  if (reason != Refusal::NoStore) showDiagnostic("zrdl: " + refusalText(reason, request.label, fault));
}

void HumanReporter::removed(const TaskView& task) {
  showLine(name(task) + ": removed");
}

void HumanReporter::listed(const TaskView& task) {
  constexpr std::size_t kIdColumns = 10;  // a longer id is shown whole: it is what the other commands take
  std::string line = fitted(task.id, std::max(task.id.size(), kIdColumns)) + " " +
                     fitted(site::stateName(task.state), 9) + " " + fitted(percentText(task), 5) + " " +
                     fitted(sizeText(task.bytes), 10);
  if (task.title != task.id) line += " " + printable(task.title);
  if (task.path) line += "  " + printable(*task.path);
  showLine(line);
}

void HumanReporter::log(std::uint64_t, std::string_view, std::string_view msg) {
  if (msg == kAbsentObject) return;
  if (msg != lastFailure_) showDiagnostic("zrdl: failure: " + printable(msg));
  lastFailure_ = msg;
}

void HumanReporter::report(std::uint64_t, std::int32_t) {}

void HumanReporter::note(std::string_view text) {
  showDiagnostic("zrdl: " + printable(text));
}

void HumanReporter::summary(const Summary& summary) {
  for (const std::string& path : finishedPaths_) showLine(path);
  showLine(std::to_string(summary.finished) + " finished, " + std::to_string(summary.errored) + " failed, " +
           std::to_string(summary.stalled) + " stalled, " + std::to_string(summary.refused) + " refused");
}

}  // namespace zrdl
