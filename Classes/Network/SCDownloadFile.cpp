#include "SCDownloadFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "SCFailure.h"
#include "SCSideName.h"

namespace {

using Failure = SCDownloadFile::Failure;

/// So large a piece goes to the disk while the next one arrives, so that `finish` does not hold up other transfers.
constexpr std::int64_t kWritebackPiece = 32 << 20;

constexpr std::size_t kSmallestPiece = 128 << 10;

constexpr mode_t kMode = 0644;

Failure failed(std::string_view operation, int systemError) {
  return SCFailure::file(operation, systemError);
}

int closeOnExec(int flags) {
  return flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;  // a FIFO in the file's place must not hang us
}

/// Writes all of it, at `offset`; the error number of a failure, else 0. Adds what was written to `offset`.
int writeAll(int fd, std::string_view bytes, std::int64_t& offset) {
  while (!bytes.empty()) {
    const ssize_t count = ::pwrite(fd, bytes.data(), bytes.size(), offset);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0 ? EIO : errno;
    offset += count;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

int flushToDisk(int fd) {
#ifdef __linux__
  return ::fdatasync(fd);
#else
  return ::fsync(fd);
#endif
}

}  // namespace

SCDownloadFile::SCDownloadFile(std::string path, bool resume, SCBufferPool& pool)
    : path_(std::move(path)), resume_(resume), pool_(pool) {
  const std::size_t slash = path_.rfind('/');
  if (slash == std::string::npos || path_.find('\0') != std::string::npos) return;
  name_ = path_.substr(slash + 1);
  partName_ = SCSideName::part(name_);
  validatorName_ = SCSideName::version(name_);
}

SCDownloadFile::~SCDownloadFile() {
  abandon();
  pool_.giveBack(std::move(buffer_));
}

Failure SCDownloadFile::prepare() {
  if (name_.empty() || name_ == "." || name_ == "..") return failed("path", EINVAL);
  const std::string folder = path_.substr(0, path_.size() - name_.size());
  folder_ = SCFileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder_) return failed("open folder", errno);

  struct stat found {};
  if (::fstatat(folder_.get(), name_.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Failure() : failed("open", errno);
  }
  if (!S_ISREG(found.st_mode)) return failed("open", S_ISDIR(found.st_mode) ? EISDIR : EEXIST);
  if (!resume_) return {};
  length_ = found.st_size;
  return readValidator();
}

Failure SCDownloadFile::readValidator() {
  const SCFileDescriptor fd(::openat(folder_.get(), validatorName_.c_str(), closeOnExec(O_RDONLY)));
  if (!fd) return errno == ENOENT || errno == ELOOP ? Failure() : failed("open", errno);
  std::array<char, 2048> text;
  const ssize_t size = ::read(fd.get(), text.data(), text.size());
  if (size > 0) validator_ = SCValidator::fromFile({text.data(), static_cast<std::size_t>(size)});
  return {};
}

Failure SCDownloadFile::open(const std::string& name, int flags) {
  file_ = SCFileDescriptor(::openat(folder_.get(), name.c_str(), closeOnExec(flags), kMode));
  if (!file_) return failed("open", errno);
  struct stat found {};
  if (::fstat(file_.get(), &found) != 0) return failed("open", errno);
  if (!S_ISREG(found.st_mode)) return failed("open", EEXIST);
  inode_ = found.st_ino;
  return {};
}

// Another download of the same file may still write a part of its own: it keeps its file and loses its name.
Failure SCDownloadFile::openNewPart() {
  length_ = 0;
  Failure failure = open(partName_, O_WRONLY | O_CREAT | O_EXCL);
  if (!failure || ::unlinkat(folder_.get(), partName_.c_str(), 0) != 0) return failure;
  return open(partName_, O_WRONLY | O_CREAT | O_EXCL);
}

// The old validator goes before the old bytes, and the new one comes after them: a crash in between leaves bytes
// without a validator, never with a wrong one.
Failure SCDownloadFile::startOver(const std::optional<SCValidator>& validator) {
  if (!resume_) return openNewPart();
  if (Failure failure = keepValidator(std::nullopt)) return failure;
  length_ = 0;
  writtenBack_ = 0;
  if (Failure failure = open(name_, O_WRONLY | O_CREAT)) return failure;
  if (::ftruncate(file_.get(), 0) != 0) return failed("truncate", errno);
  return keepValidator(validator);
}

Failure SCDownloadFile::appendRest(const std::optional<SCValidator>& validator) {
  writtenBack_ = length_;
  if (Failure failure = open(name_, O_WRONLY)) return failure;
  if (::lseek(file_.get(), 0, SEEK_END) != length_) return failed("open", ESTALE);  // changed since it was measured
  if (!validator || validator == validator_) return {};
  return keepValidator(validator);
}

/// Replaces the file beside the download at once, or removes it.
Failure SCDownloadFile::keepValidator(const std::optional<SCValidator>& validator) {
  if (!validator) {
    validator_.reset();
    const bool gone = ::unlinkat(folder_.get(), validatorName_.c_str(), 0) == 0 || errno == ENOENT;
    return gone ? Failure() : failed("remove", errno);
  }
  const std::string draft = SCSideName::versionDraft(name_);
  SCFileDescriptor fd(::openat(folder_.get(), draft.c_str(), closeOnExec(O_WRONLY | O_CREAT | O_TRUNC), kMode));
  if (!fd) return failed("open", errno);
  std::int64_t offset = 0;
  if (const int error = writeAll(fd.get(), validator->fileText(), offset)) return failed("write", error);
  if (!fd.close()) return failed("close", errno);
  if (::renameat(folder_.get(), draft.c_str(), folder_.get(), validatorName_.c_str()) != 0) {
    return failed("rename", errno);
  }
  validator_ = validator;
  return {};
}

Failure SCDownloadFile::append(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!buffer_) buffer_ = pool_.take();
    const std::size_t room = roomUntilBoundary();
    const std::size_t count = std::min(room, bytes.size());
    std::memcpy(buffer_.get() + buffered_, bytes.data(), count);
    buffered_ += count;
    bytes.remove_prefix(count);
    if (count < room) continue;
    if (Failure failure = flush()) return failure;
  }
  return {};
}

/// A power of two, at most an eighth of what is still to come.
std::size_t SCDownloadFile::pieceSize() const noexcept {
  if (expected_ <= length_) return SCBufferPool::kSize;
  return std::clamp(std::bit_floor(static_cast<std::size_t>(expected_ - length_) / 8), kSmallestPiece,
                    SCBufferPool::kSize);
}

/// Writes end where a piece's size divides the position, so that full pages are written.
std::size_t SCDownloadFile::roomUntilBoundary() const noexcept {
  const std::size_t piece = pieceSize();
  const auto position = static_cast<std::size_t>(length_) + buffered_;
  return piece - position % piece;
}

Failure SCDownloadFile::flush() {
  const std::size_t count = std::exchange(buffered_, 0);
  if (count == 0) return {};
  return write({buffer_.get(), count});
}

Failure SCDownloadFile::write(std::string_view bytes) {
  if (const int error = writeAll(file_.get(), bytes, length_)) return failed("write", error);
  if (validator_) startWriteback();
  return {};
}

void SCDownloadFile::startWriteback() {
#ifdef __linux__
  if (length_ - writtenBack_ < kWritebackPiece) return;
  // A hint only: `finish` waits for the disk, whatever this says.
  (void)::sync_file_range(file_.get(), writtenBack_, length_ - writtenBack_, SYNC_FILE_RANGE_WRITE);
  writtenBack_ = length_;
#endif
}

Failure SCDownloadFile::finish() {
  if (Failure failure = flush()) return failure;
  return resume_ ? finishInPlace() : finishPart();
}

// Until the data is on the disk the validator stays: after a power failure the file's length alone proves nothing.
Failure SCDownloadFile::finishInPlace() {
  if (!file_) {
    if (Failure failure = open(name_, O_WRONLY)) return failure;
  }
  if (validator_ && flushToDisk(file_.get()) != 0) return failed("sync", errno);
  if (!file_.close()) return failed("close", errno);
  return keepValidator(std::nullopt);
}

Failure SCDownloadFile::finishPart() {
  if (!partIsOurs()) return failed("rename", ESTALE);
  Failure failure;
  if (!file_.close()) {
    failure = failed("close", errno);
  } else if (::renameat(folder_.get(), partName_.c_str(), folder_.get(), name_.c_str()) != 0) {
    failure = failed("rename", errno);
  }
  if (failure) (void)::unlinkat(folder_.get(), partName_.c_str(), 0);
  return failure;
}

bool SCDownloadFile::partIsOurs() const {
  struct stat named {};
  return ::fstatat(folder_.get(), partName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && named.st_ino == inode_;
}

void SCDownloadFile::abandon() {
  if (file_ && resume_) (void)flush();  // what could not be kept is fetched again
  if (file_ && !resume_ && partIsOurs()) (void)::unlinkat(folder_.get(), partName_.c_str(), 0);
  file_.close();
  buffered_ = 0;
}
