#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace zrdl {

/// A program that runs beside this process, in a process group of its own, with its standard output read to the end.
class CommandRun final {
 public:
  /// What became of it.
  struct Outcome {
    std::string failure;  ///< empty when it ended with status 0
    std::string output;
  };
  using Completion = std::function<void(const Outcome& outcome)>;

  /// Starts `arguments`, the first being the program's path, and calls `completion` on a thread of its own when it has
  /// ended.
  CommandRun(std::vector<std::string> arguments, Completion completion);

  /// Kills the program's process group if it still runs; the completion is not called then.
  ~CommandRun();
  CommandRun(const CommandRun&) = delete;
  CommandRun& operator=(const CommandRun&) = delete;

  bool hasEnded() const noexcept { return ended_; }

 private:
  void watch(const Completion& completion);

  /// Everything that it prints; nothing when that is too much, or this object goes.
  std::optional<std::string> readOutput() const;
  void kill();
  std::string waitForEnd();

  int output_ = -1;
  int stopRead_ = -1;
  int stopWrite_ = -1;
  std::atomic<bool> stopping_ = false;
  std::atomic<bool> ended_ = false;
  std::mutex mutex_;
  pid_t pid_ = -1;  // under mutex_; -1 once it may belong to another process
  std::thread thread_;
};

}  // namespace zrdl
