#pragma once

#include <string>
#include <vector>

#include "Reporter.h"

namespace zrdl {

/// The words for people, one line an event; the subclasses place the lines and show progress.
class HumanReporter : public Reporter {
 public:
  void created(const TaskView& task, std::string_view kind) override;
  void finished(const TaskView& task) override;
  void errored(const TaskView& task, const ZRError& error) override;
  void failure(const TaskView& task, const ZRError& error) override;
  void stalled(const TaskView& task, std::chrono::seconds silence, const std::optional<ZRError>& failure) override;
  void refused(Refusal reason, const LabelledRequest& request, std::string_view fault) override;
  void removed(const TaskView& task) override;
  void listed(const TaskView& task) override;

  /// Shows a failure that is tried again and again only once.
  void log(std::uint64_t level, std::string_view tag, std::string_view msg) override;
  void report(std::uint64_t stype, std::int32_t version) override;
  void note(std::string_view text) override;

  /// Shows where the finished files are, then the numbers.
  void summary(const Summary& summary) override;

 protected:
  /// Shows a printable line among the results.
  virtual void showLine(const std::string& text) = 0;

  /// Shows a printable line about a task that runs no more.
  virtual void showEnd(const TaskView&, const std::string& text) { showLine(text); }

  /// Shows a printable line among the diagnostics.
  virtual void showDiagnostic(const std::string& text) = 0;

  /// The line for a task that is done.
  virtual std::string finishedLine(const TaskView& task) const = 0;

  /// Id and title, printable.
  static std::string name(const TaskView& task);

 private:
  std::vector<std::string> finishedPaths_;
  std::string lastFailure_;
};

}  // namespace zrdl
