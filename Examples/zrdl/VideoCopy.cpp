#include "VideoCopy.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace zrdl {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPieceSize = 1024UL * 1024;

[[noreturn]] void fail(const char* what, const fs::path& file, int error = errno) {
  throw std::runtime_error(std::string("cannot ") + what + " " + file.string() + ": " + std::strerror(error));
}

/// An open file, closed at the end.
class File final {
 public:
  File(const fs::path& path, int flags, const char* what, const fs::path& told)
      : fd_(::open(path.c_str(), flags | O_CLOEXEC, 0666)) {
    if (fd_ < 0) fail(what, told);
  }
  ~File() { ::close(fd_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int fd() const noexcept { return fd_; }

 private:
  const int fd_;
};

/// A file beside `target` that takes its place, or goes with this object. Its name is short, since that of `target` may
/// be as long as names can be.
class Draft final {
 public:
  explicit Draft(const fs::path& target)
      : target_(target),
        path_(target.parent_path() / (".zrdl-" + std::to_string(::getpid()) + ".part")),
        file_(path_, O_WRONLY | O_CREAT | O_EXCL, "write", target) {}
  ~Draft() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  void append(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t written = ::write(file_.fd(), bytes.data(), bytes.size());
      if (written < 0 && errno != EINTR) fail("write", target_);
      if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  void takePlace() {
    if (::fsync(file_.fd()) != 0 || ::rename(path_.c_str(), target_.c_str()) != 0) fail("write", target_);
    path_.clear();
    const File folder(target_.parent_path(), O_RDONLY | O_DIRECTORY, "write", target_);
    if (::fsync(folder.fd()) != 0) fail("write", target_);
  }

 private:
  const fs::path target_;
  fs::path path_;  // empty once it has taken the place
  const File file_;
};

void appendFile(const fs::path& path, Draft& draft, const std::atomic<bool>& interrupted) {
  const File file(path, O_RDONLY, "read", path);
  std::string piece(kPieceSize, '\0');
  for (;;) {
    if (interrupted) throw std::runtime_error("interrupted: nothing was copied");
    const ssize_t got = ::read(file.fd(), piece.data(), piece.size());
    if (got < 0 && errno != EINTR) fail("read", path);
    if (got == 0) return;
    if (got > 0) draft.append(std::string_view(piece).substr(0, static_cast<std::size_t>(got)));
  }
}

/// The files that make the video up. A playlist's entries are names inside its own folder, whatever wrote it.
std::vector<fs::path> partsOf(const fs::path& video) {
  if (!video.filename().string().ends_with(".local.m3u8")) return {video};
  std::vector<fs::path> parts;
  std::ifstream playlist(video);
  if (!playlist) fail("read", video);
  for (std::string line; std::getline(playlist, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty() && line.front() != '#') parts.push_back(video.parent_path() / fs::path(line).filename());
  }
  if (parts.empty()) throw std::runtime_error("there are no segments in " + video.string());
  return parts;
}

}  // namespace

std::string copyVideo(const std::string& video, const std::string& target, const std::atomic<bool>& interrupted) try {
  if (fs::is_directory(target)) fail("write", target, EISDIR);
  const std::vector<fs::path> parts = partsOf(video);
  Draft draft(target);
  for (const fs::path& part : parts) appendFile(part, draft, interrupted);
  draft.takePlace();
  return "";
} catch (const std::exception& error) {
  return error.what();
}

}  // namespace zrdl
