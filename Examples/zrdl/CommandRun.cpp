#include "CommandRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace zrdl {
namespace {

constexpr std::size_t kLargestOutput = 16UL * 1024 * 1024;

/// A pipe whose ends no other program inherits; false when there is none to be had.
bool makePipe(int& readEnd, int& writeEnd) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return false;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  readEnd = ends[0];
  writeEnd = ends[1];
  return true;
}

void close(int& fd) {
  if (fd >= 0) ::close(std::exchange(fd, -1));
}

/// Starts the program with `output` as its standard output; returns 0 or why not (`errno`).
int spawn(std::vector<std::string>& arguments, int output, pid_t& pid) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);  // this process blocks what ends it
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);

  const int failure = ::posix_spawn(&pid, argv.front(), &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

std::string failureOf(const siginfo_t& end) {
  if (end.si_code != CLD_EXITED) return "the command was ended by signal " + std::to_string(end.si_status);
  return end.si_status == 0 ? "" : "the command ended with status " + std::to_string(end.si_status);
}

}  // namespace

CommandRun::CommandRun(std::vector<std::string> arguments, Completion completion) {
  int input = -1;
  int failure = 0;
  if (!makePipe(stopRead_, stopWrite_) || !makePipe(output_, input)) {
    failure = errno;
  } else {
    failure = spawn(arguments, input, pid_);
  }
  close(input);
  if (failure == 0) {
    thread_ = std::thread([this, completion = std::move(completion)] { watch(completion); });
    return;
  }
  ended_ = true;
  completion({.failure = "the command cannot be started: " + std::string(std::strerror(failure)), .output = ""});
}

CommandRun::~CommandRun() {
  stopping_ = true;
  kill();
  close(stopWrite_);  // wakes the thread, should something else hold the output open
  if (thread_.joinable()) thread_.join();
  close(stopRead_);
  close(output_);
}

void CommandRun::watch(const Completion& completion) {
  std::optional<std::string> output = readOutput();
  if (!output) kill();
  Outcome outcome{.failure = waitForEnd(), .output = std::move(output).value_or("")};
  if (!output) outcome.failure = "the command prints too much";
  if (!stopping_) completion(outcome);
  ended_ = true;
}

std::optional<std::string> CommandRun::readOutput() const {
  std::string output;
  std::array<char, 65536> piece{};
  for (;;) {
    std::array<pollfd, 2> fds{{{output_, POLLIN, 0}, {stopRead_, POLLIN, 0}}};
    if (::poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) return std::nullopt;
    if (fds[1].revents != 0) return std::nullopt;
    if (fds[0].revents == 0) continue;
    const ssize_t got = ::read(output_, piece.data(), piece.size());
    if (got == 0) return output;
    if (got < 0 && errno != EINTR) return std::nullopt;
    if (got > 0) output.append(piece.data(), static_cast<std::size_t>(got));
    if (output.size() > kLargestOutput) return std::nullopt;
  }
}

void CommandRun::kill() {
  const std::lock_guard lock(mutex_);
  if (pid_ > 0) ::kill(-pid_, SIGKILL);
}

/// Waits without reaping first, so that `kill` meets no other process that was given the same id.
std::string CommandRun::waitForEnd() {
  siginfo_t end{};
  while (::waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  const std::lock_guard lock(mutex_);
  ::waitpid(pid_, nullptr, 0);
  pid_ = -1;
  return failureOf(end);
}

}  // namespace zrdl
