#include "DisposableFolder.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace player {
namespace {

/// Calls nothing that a process forked from threads must not call.
[[noreturn]] void keep(int line, char* path) {
  ::setsid();  // no terminal's signals
  ::dup2(line, STDIN_FILENO);
  ::close_range(STDERR_FILENO + 1, ~0U, 0);
  if (::mkdtemp(path) == nullptr) ::_exit(errno);
  const ssize_t told = ::write(STDIN_FILENO, path, std::strlen(path));
  char end = 0;
  while (told > 0 && ::read(STDIN_FILENO, &end, 1) < 0 && errno == EINTR) continue;
  ::execl("/bin/rm", "rm", "-rf", "--", path, nullptr);
  ::_exit(errno);
}

}  // namespace

DisposableFolder::DisposableFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "player-XXXXXX").string();
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
    throw std::system_error(errno, std::generic_category(), "socketpair");
  keeper_ = ::fork();
  if (keeper_ == 0) keep(ends[1], name.data());
  const int failure = errno;
  ::close(ends[1]);
  line_ = ends[0];
  const bool isTold = keeper_ > 0 && ::read(line_, name.data(), name.size()) == static_cast<ssize_t>(name.size());
  if (isTold) {
    path_ = std::move(name);
    return;
  }
  ::close(line_);
  if (keeper_ > 0) ::waitpid(keeper_, nullptr, 0);
  throw std::system_error(keeper_ < 0 ? failure : EIO, std::generic_category(), "a temporary folder");
}

DisposableFolder::~DisposableFolder() {
  ::close(line_);
  ::waitpid(keeper_, nullptr, 0);
}

}  // namespace player
