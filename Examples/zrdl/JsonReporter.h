#pragma once

#include <ostream>

#include "Reporter.h"

namespace zrdl {

/// One JSON object a line for every event, UTF-8 with invalid bytes replaced; each line is flushed. Notes go to `err`.
class JsonReporter final : public Reporter {
 public:
  JsonReporter(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

  void created(const TaskView& task, std::string_view kind) override;
  void progress(const std::vector<TaskView>& executing) override;
  void finished(const TaskView& task) override;
  void errored(const TaskView& task, const ZRError& error) override;
  void failure(const TaskView& task, const ZRError& error) override;
  void stalled(const TaskView& task, std::chrono::seconds silence, const std::optional<ZRError>& failure) override;
  void refused(Refusal reason, const LabelledRequest& request, std::string_view fault) override;
  void removed(const TaskView& task) override;
  void listed(const TaskView& task) override;
  bool wantsEveryRecord() const override { return true; }
  void log(std::uint64_t level, std::string_view tag, std::string_view msg) override;
  void report(std::uint64_t stype, std::int32_t version) override;
  void note(std::string_view text) override;
  void summary(const Summary& summary) override;

 private:
  std::ostream& out_;
  std::ostream& err_;
};

}  // namespace zrdl
