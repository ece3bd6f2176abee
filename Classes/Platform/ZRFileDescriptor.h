#pragma once

#include <cerrno>
#include <utility>

#include <sys/file.h>
#include <unistd.h>

/// An open file that is closed at the end of its scope.
class ZRFileDescriptor final {
 public:
  ZRFileDescriptor() = default;
  explicit ZRFileDescriptor(int fd) noexcept : fd_(fd) {}
  ZRFileDescriptor(ZRFileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  ZRFileDescriptor& operator=(ZRFileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~ZRFileDescriptor() { close(); }

  /// Whether `error` tells that the process, or the system, has no descriptor left.
  static bool isShortage(int error) noexcept { return error == EMFILE || error == ENFILE; }

  int get() const noexcept { return fd_; }
  explicit operator bool() const noexcept { return fd_ >= 0; }

  /// Claims the file until it is closed. False when somebody else, in this process or another one, has claimed it. On a
  /// file system that knows no claims everybody gets one.
  bool lock() const noexcept { return ::flock(fd_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

  /// False, with the reason in `errno`, when the file system could not take over what was written.
  bool close() noexcept {
    const int fd = std::exchange(fd_, -1);
    return fd < 0 || ::close(fd) == 0;
  }

 private:
  int fd_ = -1;
};
