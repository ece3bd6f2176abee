#include "SCVersionFile.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "SCFailure.h"
#include "SCSideName.h"

SCVersionFile::SCVersionFile(const ZRFileDescriptor& folder, std::string_view name)
    : folder_(folder), name_(SCSideName::version(name)), draftName_(SCSideName::versionDraft(name)) {}

std::optional<SCVersion> SCVersionFile::read() const {
  const ZRFileDescriptor file(::openat(folder_.get(), name_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) return ZRFileDescriptor::isShortage(errno) ? std::nullopt : std::optional(SCVersion());
  std::array<char, 2048> text;
  const ssize_t size = ::read(file.get(), text.data(), text.size());
  return size > 0 ? SCVersion::fromFile({text.data(), static_cast<std::size_t>(size)}) : SCVersion();
}

void SCVersionFile::replace(const SCVersion& version) const {
  (void)::unlinkat(folder_.get(), draftName_.c_str(), 0);  // a leftover, or a link that is not ours to write through
  const bool isReplaced = writeDraft(version.fileText()) &&
                          ::renameat(folder_.get(), draftName_.c_str(), folder_.get(), name_.c_str()) == 0;
  if (!isReplaced) (void)::unlinkat(folder_.get(), draftName_.c_str(), 0);
}

bool SCVersionFile::writeDraft(std::string_view text) const {
  ZRFileDescriptor draft(::openat(folder_.get(), draftName_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!draft) return false;
  const ssize_t written = ::write(draft.get(), text.data(), text.size());
  return draft.close() && written == static_cast<ssize_t>(text.size());
}

std::optional<ZRError> SCVersionFile::remove() const {
  if (::unlinkat(folder_.get(), name_.c_str(), 0) != 0) {
    const bool isNone = errno == ENOENT || errno == EISDIR;
    return isNone ? std::nullopt : std::optional(SCFailure::file("remove", errno));
  }
  if (::fsync(folder_.get()) == 0 || errno == EINVAL) return std::nullopt;  // a file system that cannot sync a folder
  return SCFailure::file("sync", errno);
}
