#pragma once

#include <array>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>
#include <poll.h>
#include <unistd.h>

/// A running `zrdl`. Its output is read while the test waits for something; it is killed at the end if it still runs.
class ZrdlProcess final {
 public:
  using Json = nlohmann::json;

  /// Starts it with these arguments; standard input is the file `input`. With `isHeldUp` it prints no more than a line
  /// while nobody reads.
  explicit ZrdlProcess(std::vector<std::string> arguments, const std::string& input = "/dev/null",
                       bool isHeldUp = false);
  ~ZrdlProcess();
  ZrdlProcess(const ZrdlProcess&) = delete;
  ZrdlProcess& operator=(const ZrdlProcess&) = delete;

  /// Reads on until a line of `--json` output satisfies `wanted`; false when the output ends or 20 s pass first.
  bool waitFor(const std::function<bool(const Json& event)>& wanted);

  /// Reads the rest of the output and returns the exit status; for a death by a signal 1000 more than its number, and
  /// -1 when it does not end within 20 s.
  int wait();

  /// The same without reading: a process that writes more than a pipe holds does not end by itself then.
  int waitUnread();

  /// Closes the end of standard output that is read from.
  void stopReading() { ::close(std::exchange(outFd_, -1)); }

  void signal(int number) const { ::kill(pid_, number); }

  /// The events of that name so far, in order.
  Json events(std::string_view name) const;

  /// What those events have at `key`.
  Json values(std::string_view name, const std::string& key) const;

  /// Everything so far, of which every full line was read.
  const std::string& out() const noexcept { return out_; }
  const std::string& err() const noexcept { return err_; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds kPatience{20};

  bool waitReadable(std::array<pollfd, 2>& fds) const;
  bool readMore();
  int reap();

  Clock::time_point deadline_;
  pid_t pid_ = -1;
  int outFd_ = -1;
  int errFd_ = -1;
  std::string out_;
  std::string err_;
  std::size_t parsed_ = 0;  // bytes of out_ that are in events_
  std::vector<Json> events_;
};
