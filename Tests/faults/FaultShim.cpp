// A library for LD_PRELOAD that makes one call of a program fail once, or the program end there.
//
//   ZR_FAULT         CALL:N:ERRNO: the N-th such call fails with that number; with 0 it is the program's last moment
//   ZR_FAULT_BELOW   a folder: calls with a path or a descriptor outside of it are neither counted nor failed
//   ZR_FAULT_COUNTS  a file of 32-bit numbers, mapped: how often each of kFaultCalls was made; outlives any end
//   ZR_FAULT_CUT     a command that keeps what the disk holds; it runs in the last moment

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "FaultCalls.h"

namespace {

std::string_view setting(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

struct Plan {
  std::string_view below = setting("ZR_FAULT_BELOW");
  std::string_view call = setting("ZR_FAULT");
  std::uint32_t at = 0;
  int error = 0;
  std::atomic<std::uint32_t>* counts = nullptr;

  Plan() {
    const int fd = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, setting("ZR_FAULT_COUNTS").data(), O_RDWR, 0));
    void* const map = ::mmap(nullptr, kFaultCalls.size() * 4, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map != MAP_FAILED) counts = static_cast<std::atomic<std::uint32_t>*>(map);
    ::syscall(SYS_close, fd);
    const std::size_t colon = call.find(':');
    if (colon == std::string_view::npos) return;
    char* end = nullptr;
    at = static_cast<std::uint32_t>(std::strtoul(call.data() + colon + 1, &end, 10));
    error = std::atoi(end + 1);
    call = call.substr(0, colon);
  }
};

const Plan* plan = nullptr;  // calls made before this library was set up pass

__attribute__((constructor)) void setUp() {
  static const Plan made;
  plan = &made;
}

/// Ends the program as a cut of the power or `kill -9` would.
[[noreturn]] void die() {
  if (const char* const cut = std::getenv("ZR_FAULT_CUT")) (void)std::system(cut);
  std::raise(SIGKILL);
  std::abort();
}

/// Counts the call, and tells whether this is the one; `errno` is set then.
bool fails(std::string_view call) {
  if (plan == nullptr || plan->counts == nullptr) return false;
  const auto index = std::find(kFaultCalls.begin(), kFaultCalls.end(), call) - kFaultCalls.begin();
  const std::uint32_t count = ++plan->counts[index];
  const std::uint32_t countOfAny = ++plan->counts[kFaultCalls.size() - 1];
  const bool isThis = plan->call == "any" ? countOfAny == plan->at : plan->call == call && count == plan->at;
  if (isThis && plan->error == 0) die();
  if (isThis) errno = plan->error;
  return isThis;
}

bool isBelow(std::string_view path) {
  return path.substr(0, plan->below.size()) == plan->below;
}

bool fails(std::string_view call, int fd) {
  char path[4096];
  const int kept = errno;
  const ssize_t size =
      plan != nullptr ? ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path) : -1;
  errno = kept;
  return size > 0 && isBelow({path, static_cast<std::size_t>(size)}) && fails(call);
}

bool fails(std::string_view call, const char* path) {
  return plan != nullptr && isBelow(path) && fails(call);
}

bool fails(std::string_view call, int folder, const char* path) {
  return *path == '/' ? fails(call, path) : fails(call, folder);
}

/// The system call, unless it is the one that fails.
template <class... Arguments>
long unlessFails(bool failing, long number, Arguments... arguments) {
  return failing ? -1 : ::syscall(number, arguments...);
}

/// The function of the C library that this one stands before.
template <class Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTBEGIN(cert-dcl50-cpp): the C library's own declarations
extern "C" {

int openat(int folder, const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return static_cast<int>(unlessFails(fails("open", folder, path), SYS_openat, folder, path, flags, mode));
}
int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return static_cast<int>(unlessFails(fails("open", path), SYS_openat, AT_FDCWD, path, flags, mode));
}
int openat64(int, const char*, int, ...) __attribute__((alias("openat")));
int open64(const char*, int, ...) __attribute__((alias("open")));

FILE* fopen64(const char* path, const char* mode) {
  static auto* const real = next(&fopen64, "fopen64");
  return fails("open", path) ? nullptr : real(path, mode);
}
FILE* fopen(const char* path, const char* mode) {
  return fopen64(path, mode);
}

ssize_t read(int fd, void* to, size_t size) {
  return unlessFails(fails("read", fd), SYS_read, fd, to, size);
}
ssize_t pread(int fd, void* to, size_t size, off_t at) {
  return unlessFails(fails("read", fd), SYS_pread64, fd, to, size, at);
}
ssize_t pread64(int, void*, size_t, off64_t) __attribute__((alias("pread")));
ssize_t write(int fd, const void* from, size_t size) {
  return unlessFails(fails("pwrite", fd), SYS_write, fd, from, size);
}
ssize_t pwrite(int fd, const void* from, size_t size, off_t at) {
  return unlessFails(fails("pwrite", fd), SYS_pwrite64, fd, from, size, at);
}
ssize_t pwrite64(int, const void*, size_t, off64_t) __attribute__((alias("pwrite")));

int fsync(int fd) {
  return static_cast<int>(unlessFails(fails("fdatasync", fd), SYS_fsync, fd));
}
int fdatasync(int fd) {
  return static_cast<int>(unlessFails(fails("fdatasync", fd), SYS_fdatasync, fd));
}
int syncfs(int fd) noexcept {
  return static_cast<int>(unlessFails(fails("fdatasync", fd), SYS_syncfs, fd));
}

int renameat(int from, const char* old, int to, const char* name) noexcept {
  return static_cast<int>(unlessFails(fails("rename", from, old), SYS_renameat, from, old, to, name));
}
int rename(const char* old, const char* name) noexcept {
  return renameat(AT_FDCWD, old, AT_FDCWD, name);
}

int ftruncate(int fd, off_t size) noexcept {
  return static_cast<int>(unlessFails(fails("ftruncate", fd), SYS_ftruncate, fd, size));
}
int ftruncate64(int, off64_t) noexcept __attribute__((alias("ftruncate")));

int unlinkat(int folder, const char* path, int flags) noexcept {
  return static_cast<int>(unlessFails(fails("unlink", folder, path), SYS_unlinkat, folder, path, flags));
}
int unlink(const char* path) noexcept {
  return unlinkat(AT_FDCWD, path, 0);
}
int rmdir(const char* path) noexcept {
  return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}
int remove(const char* path) noexcept {
  struct stat is {};
  const bool isFolder = ::lstat(path, &is) == 0 && S_ISDIR(is.st_mode);
  return unlinkat(AT_FDCWD, path, isFolder ? AT_REMOVEDIR : 0);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return static_cast<int>(unlessFails(fails("mkdir", path), SYS_mkdir, path, mode));
}
int symlink(const char* target, const char* path) noexcept {
  return static_cast<int>(unlessFails(fails("mkdir", path), SYS_symlink, target, path));
}

/// Like the system's, it gives the descriptor back even when it fails.
int close(int fd) {
  const bool failing = fails("close", fd);
  const int error = errno;
  const int result = static_cast<int>(::syscall(SYS_close, fd));
  if (!failing) return result;
  errno = error;
  return -1;
}

int socket(int domain, int type, int protocol) noexcept {
  return static_cast<int>(unlessFails(fails("socket"), SYS_socket, domain, type, protocol));
}
int connect(int fd, const sockaddr* to, socklen_t size) {
  return static_cast<int>(unlessFails(fails("connect"), SYS_connect, fd, to, size));
}

int pthread_create(pthread_t* thread, const pthread_attr_t* with, void* (*start)(void*), void* argument) noexcept {
  static auto* const real = next(&pthread_create, "pthread_create");
  return fails("pthread_create") ? plan->error : real(thread, with, start, argument);
}
}
// NOLINTEND(cert-dcl50-cpp)
