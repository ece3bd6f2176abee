#include "SCDownloadFile.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "SCFailure.h"
#include "SCSideName.h"

namespace {

using Failure = SCDownloadFile::Failure;

/// A piece of this size goes to the disk while the next one arrives, so that a sync of the whole has little to do.
constexpr std::int64_t kWritebackPiece = 32 << 20;

/// The end of a complete file goes there at once, for whoever syncs it; smaller ones are not worth the call.
constexpr std::int64_t kWritebackEnd = 1 << 20;

constexpr std::size_t kSmallestPiece = 128 << 10;

constexpr mode_t kMode = 0644;

Failure failed(std::string_view operation, int systemError) {
  return SCFailure::file(operation, systemError);
}

ZRFileDescriptor openIn(const ZRFileDescriptor& folder, const std::string& name, int flags) {
  constexpr int kAlways = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;  // a FIFO in the file's place must not hang us
  return ZRFileDescriptor(::openat(folder.get(), name.c_str(), flags | kAlways, kMode));
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

std::string nameIn(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const bool isPath = slash != std::string::npos && path.find('\0') == std::string::npos;
  return isPath ? path.substr(slash + 1) : std::string();
}

}  // namespace

SCDownloadFile::SCDownloadFile(std::string path, bool resume, SCBufferPool& pool)
    : path_(std::move(path)), resume_(resume), pool_(pool), name_(nameIn(path_)), partName_(SCSideName::part(name_)) {}

SCDownloadFile::~SCDownloadFile() {
  abandon();
  pool_.giveBack(std::move(buffer_));
}

Failure SCDownloadFile::prepare() {
  if (name_.empty() || name_ == "." || name_ == "..") return failed("path", EINVAL);
  const std::string folder = path_.substr(0, path_.size() - name_.size());
  folder_ = ZRFileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder_) return failed("open folder", errno);

  struct stat found {};
  if (::fstatat(folder_.get(), name_.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Failure() : failed("open", errno);
  }
  if (!S_ISREG(found.st_mode)) return failed("open", S_ISDIR(found.st_mode) ? EISDIR : EEXIST);
  if (!resume_) return {};
  if (Failure failure = open(name_, O_WRONLY)) return failure;
  const std::optional<SCVersion> version = versionFile_.read();
  if (!version) return failed("open", errno);
  version_ = *version;
  if (version_.isKnown()) length_ = ::lseek(file_.get(), 0, SEEK_END);  // bytes of who knows what are fetched again
  return {};
}

Failure SCDownloadFile::open(const std::string& name, int flags) {
  file_ = openIn(folder_, name, flags);
  return claim();
}

/// Takes the file that was opened, unless somebody else has it, or had it and has removed it.
Failure SCDownloadFile::claim() {
  struct stat found {};
  const bool isLocked = file_ && file_.lock();
  if (!file_ || ::fstat(file_.get(), &found) != 0) return failed("open", errno);
  if (!S_ISREG(found.st_mode)) return failed("open", EEXIST);
  inode_ = found.st_ino;
  if (isLocked && found.st_nlink > 0) return {};
  file_.close();  // before anybody takes it for ours
  return SCFailure::fileBusy();
}

/// Whether the name is still that of the open file.
bool SCDownloadFile::isOurs(const std::string& name) const {
  struct stat named {};
  return ::fstatat(folder_.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && named.st_ino == inode_;
}

Failure SCDownloadFile::openNewPart() {
  constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL;
  length_ = 0;
  file_ = openIn(folder_, partName_, kNew);
  if (file_ || errno != EEXIST) return claim();
  if (Failure failure = removeLeftoverPart()) return failure;
  return open(partName_, kNew);
}

/// A part that nobody writes is of a process that was killed. It is not written to: its name may be a link's.
Failure SCDownloadFile::removeLeftoverPart() {
  const ZRFileDescriptor part = openIn(folder_, partName_, O_RDONLY);
  if (!part && errno == ENOENT) return {};
  if (part && !part.lock()) return SCFailure::fileBusy();
  const bool isGone = ::unlinkat(folder_.get(), partName_.c_str(), 0) == 0 ||
                      ::unlinkat(folder_.get(), partName_.c_str(), AT_REMOVEDIR) == 0;
  return isGone ? Failure() : failed("remove", errno);
}

// The order on the disk, whatever ends it in between (a kill, a failing call, a power cut): the old bytes go, and are
// known to be gone; the old version goes, and is known to be gone; the new version comes; the new bytes come. So no
// byte ever stands beside the version of another one. What is new needs no sync: where a power cut leaves bytes without
// their version, or a version that is cut short, they are fetched again. It happens while other transfers wait, but
// only where there was something old.
Failure SCDownloadFile::startOver(const SCVersion& version) {
  if (!resume_) return openNewPart();
  length_ = writtenBack_ = 0;
  if (file_) {
    if (::ftruncate(file_.get(), 0) != 0 || ::fsync(file_.get()) != 0) return failed("truncate", errno);
  } else {
    if (Failure failure = open(name_, O_WRONLY | O_CREAT)) return failure;
    if (::lseek(file_.get(), 0, SEEK_END) != 0) return failed("open", ESTALE);  // came after the request was sent
  }
  if (Failure failure = versionFile_.remove()) return failure;
  version_ = {};
  setVersion(version);
  return {};
}

void SCDownloadFile::appendRest(const SCVersion& version) {
  writtenBack_ = length_;
  setVersion(version);
}

void SCDownloadFile::setVersion(const SCVersion& version) {
  if (version != version_) versionFile_.replace(version);
  version_ = version;
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
  startWriteback(kWritebackPiece);
  return {};
}

/// A hint only, and only when there is at least so much to write.
void SCDownloadFile::startWriteback(std::int64_t smallest) {
#ifdef __linux__
  if (length_ - writtenBack_ < smallest) return;
  (void)::sync_file_range(file_.get(), writtenBack_, length_ - writtenBack_, SYNC_FILE_RANGE_WRITE);
  writtenBack_ = length_;
#else
  (void)smallest;
#endif
}

Failure SCDownloadFile::finish() {
  if (Failure failure = flush()) return failure;
  startWriteback(kWritebackEnd);
  return resume_ ? finishInPlace() : finishPart();
}

// The version stays and tells the complete length: where a power cut takes the file's end away, the next attempt
// fetches that end alone.
Failure SCDownloadFile::finishInPlace() {
  if (!isOurs(name_)) return failed("close", ESTALE);
  SCVersion complete = version_;
  complete.length = length_;
  setVersion(complete);
  if (file_.close()) return {};
  const int error = errno;  // which bytes arrived is not known
  if (Failure failure = versionFile_.remove()) return failure;
  return failed("close", error);
}

// The name is taken while the file is still claimed: as a leftover it could be removed.
Failure SCDownloadFile::finishPart() {
  if (!isOurs(partName_)) return failed("rename", ESTALE);
  if (::renameat(folder_.get(), partName_.c_str(), folder_.get(), name_.c_str()) != 0) return failed("rename", errno);
  if (file_.close()) return {};
  const int error = errno;
  (void)::unlinkat(folder_.get(), name_.c_str(), 0);
  return failed("close", error);
}

void SCDownloadFile::abandon() {
  if (file_ && resume_) (void)flush();  // what could not be kept is fetched again
  if (file_ && !resume_ && isOurs(partName_)) (void)::unlinkat(folder_.get(), partName_.c_str(), 0);
  file_.close();
  buffered_ = 0;
}
