#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LabelledRequest.h"
#include "Refusal.h"
#include "TaskView.h"
#include "ZRDownloadKit.h"

namespace zrdl {

using site::TaskView;

/// The level of the library's log records that tell of a failure, as a record holds it.
inline constexpr auto kFailureLevel = static_cast<std::uint64_t>(ZRLogLevel::Failure);

/// How the tasks of a run ended, in numbers of tasks.
struct Summary {
  std::size_t finished = 0;
  std::size_t errored = 0;
  std::size_t stalled = 0;
  std::size_t refused = 0;

  bool allFinished() const noexcept { return errored + stalled + refused == 0; }
};

/// Tells the user what happens. Main loop's thread only.
class Reporter {
 public:
  virtual ~Reporter() = default;

  /// How often `progress` is wanted.
  virtual std::chrono::milliseconds progressInterval() const { return std::chrono::seconds(1); }

  virtual void created(const TaskView& task, std::string_view kind) = 0;

  /// Every executing task of the run.
  virtual void progress(const std::vector<TaskView>& executing) = 0;
  virtual void finished(const TaskView& task) = 0;
  virtual void errored(const TaskView& task, const ZRError& error) = 0;

  /// An error that leaves the task executing.
  virtual void failure(const TaskView& task, const ZRError& error) = 0;

  /// `failure` is what the library told of the task last, if it told anything.
  virtual void stalled(const TaskView& task, std::chrono::seconds silence, const std::optional<ZRError>& failure) = 0;

  /// `fault` says what is wrong with the parameters; empty when that is not known.
  virtual void refused(Refusal reason, const LabelledRequest& request, std::string_view fault) = 0;
  virtual void removed(const TaskView& task) = 0;

  /// A stored task, for a list of them.
  virtual void listed(const TaskView& task) = 0;

  /// Whether `log` wants records of every level, and of failures, too, that are told in another way.
  virtual bool wantsEveryRecord() const { return false; }

  /// A record of the library's log; one of a failure unless every record is wanted.
  virtual void log(std::uint64_t level, std::string_view tag, std::string_view msg) = 0;

  /// A usage report of the library.
  virtual void report(std::uint64_t stype, std::int32_t version) = 0;

  /// A remark for the user that is no event.
  virtual void note(std::string_view text) = 0;

  /// The end of a run.
  virtual void summary(const Summary& summary) = 0;
};

}  // namespace zrdl
