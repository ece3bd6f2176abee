#include "ZrdlProcess.h"

#include <algorithm>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

namespace {

/// Appends what can be read at once; the descriptor is closed and -1 at its end.
void readSome(int& fd, std::string& into) {
  std::array<char, 65536> piece{};
  const ssize_t got = ::read(fd, piece.data(), piece.size());
  if (got > 0) {
    into.append(piece.data(), static_cast<std::size_t>(got));
  } else {
    ::close(fd);
    fd = -1;
  }
}

}  // namespace

ZrdlProcess::ZrdlProcess(std::vector<std::string> arguments, const std::string& input, bool isHeldUp) {
  std::array<int, 2> out{};
  std::array<int, 2> err{};
  const int packets = isHeldUp ? O_DIRECT : 0;  // each line is one, and has a page of the pipe for itself
  if (::pipe2(out.data(), O_CLOEXEC | packets) != 0 || ::pipe2(err.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  if (isHeldUp) ::fcntl(out[0], F_SETPIPE_SZ, 1);  // a page
  arguments.insert(arguments.begin(), ZRDL_PATH);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  const int failed = ::posix_spawn(&pid_, ZRDL_PATH, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  ::close(err[1]);
  outFd_ = out[0];
  errFd_ = err[0];
  if (failed != 0) throw std::runtime_error("cannot start " ZRDL_PATH);
}

ZrdlProcess::~ZrdlProcess() {
  if (outFd_ >= 0) ::close(outFd_);
  if (errFd_ >= 0) ::close(errFd_);
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

bool ZrdlProcess::waitReadable(std::array<pollfd, 2>& fds) const {
  const auto left = std::max<Clock::duration>(deadline_ - Clock::now(), Clock::duration::zero());
  return ::poll(fds.data(), fds.size(), static_cast<int>(left / std::chrono::milliseconds(1))) > 0;
}

bool ZrdlProcess::readMore() {
  std::array<pollfd, 2> fds{{{outFd_, POLLIN, 0}, {errFd_, POLLIN, 0}}};
  if ((outFd_ < 0 && errFd_ < 0) || !waitReadable(fds)) return false;
  if (fds[0].revents != 0) readSome(outFd_, out_);
  if (fds[1].revents != 0) readSome(errFd_, err_);
  for (std::size_t end = 0; (end = out_.find('\n', parsed_)) != std::string::npos; parsed_ = end + 1) {
    events_.push_back(Json::parse(out_.substr(parsed_, end - parsed_), nullptr, false));
  }
  return true;
}

bool ZrdlProcess::waitFor(const std::function<bool(const Json& event)>& wanted) {
  deadline_ = Clock::now() + kPatience;
  for (std::size_t seen = 0;;) {
    for (; seen < events_.size(); ++seen) {
      if (events_[seen].is_object() && wanted(events_[seen])) return true;
    }
    if (!readMore()) return false;
  }
}

int ZrdlProcess::wait() {
  deadline_ = Clock::now() + kPatience;
  while (readMore()) {
  }
  return outFd_ < 0 && errFd_ < 0 ? reap() : -1;  // still running, or a child of it is
}

int ZrdlProcess::waitUnread() {
  deadline_ = Clock::now() + kPatience;
  std::array<pollfd, 2> fds{{{-1, 0, 0}, {errFd_, 0, 0}}};  // the process holds the only writing end
  return waitReadable(fds) ? reap() : -1;
}

int ZrdlProcess::reap() {
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

ZrdlProcess::Json ZrdlProcess::events(std::string_view name) const {
  Json found = Json::array();
  for (const Json& event : events_) {
    if (event.is_object() && event.value("event", "") == name) found.push_back(event);
  }
  return found;
}

ZrdlProcess::Json ZrdlProcess::values(std::string_view name, const std::string& key) const {
  Json found = Json::array();
  for (const Json& event : events(name)) found.push_back(event.at(key));
  return found;
}
