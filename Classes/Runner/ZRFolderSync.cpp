#include "ZRFolderSync.h"

#include <cerrno>
#include <filesystem>
#include <new>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "SCFailure.h"
#include "ZRFileDescriptor.h"

namespace fs = std::filesystem;

namespace {

ZRError failed(std::string_view operation, int systemError) {
  return SCFailure::file(operation, systemError, kZRReasonFileSync);
}

/// The error number of a failure, else 0. A file system that has no such operation has nothing to fail.
int sync(int fd, int (*operation)(int)) {
  while (operation(fd) != 0) {
    if (errno == EINVAL || errno == EROFS || errno == ENOTSUP) return 0;
    if (errno != EINTR) return errno;
  }
  return 0;
}

#ifdef __linux__
constexpr auto kSyncData = ::fdatasync;
#else
constexpr auto kSyncData = ::fsync;
#endif

ZRFileDescriptor openFolder(const std::string& folder) {
  return ZRFileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// What a folder holds, relative to it; a folder stands before what is in it.
struct Contents {
  std::vector<std::string> files;
  std::vector<std::string> folders;
};

/// Nothing when the folder cannot be read to its end.
std::optional<Contents> contentsOf(const std::string& folder) {
  Contents contents;
  std::error_code error;
  for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    std::error_code gone;  // since it was listed
    const fs::file_type type = it->symlink_status(gone).type();
    if (type == fs::file_type::regular) contents.files.push_back(it->path().lexically_relative(folder));
    if (type == fs::file_type::directory) contents.folders.push_back(it->path().lexically_relative(folder));
  }
  return error ? std::nullopt : std::optional(std::move(contents));
}

bool syncFileSystem(int folder) {
#ifdef __linux__
  return sync(folder, ::syncfs) == 0;
#else
  (void)folder;
  return false;
#endif
}

/// Names are taken below the open folder: one that takes its place meanwhile is another task's.
std::optional<ZRError> syncFile(int folder, const std::string& name) {
  const ZRFileDescriptor file(::openat(folder, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) return errno == ENOENT ? std::nullopt : std::optional(failed("open", errno));
  const int error = sync(file.get(), kSyncData);
  if (error == 0) return std::nullopt;
  (void)::unlinkat(folder, name.c_str(), 0);
  return failed("sync", error);
}

/// Makes the name of `folder`, and those of all that it lies in, durable. A folder above that may not be read was there
/// before the library.
void syncWayTo(fs::path folder) {
  while (folder.has_relative_path()) {
    folder = folder.parent_path();
    ZRFolderSync::syncNames(folder);
  }
}

std::optional<ZRError> syncEverything(const std::string& folder) {
  const ZRFileDescriptor opened = openFolder(folder);
  if (!opened) return failed("open folder", errno);
  const std::optional<Contents> contents = contentsOf(folder);
  if (!contents) return failed("read folder", EIO);
  if (contents->files.size() > ZRFolderSync::kFewFiles && syncFileSystem(opened.get())) return std::nullopt;

  std::optional<ZRError> failure;
  for (const std::string& file : contents->files) {
    if (auto lost = syncFile(opened.get(), file)) failure = std::move(lost);
  }
  for (const std::string& inner : contents->folders) ZRFolderSync::syncNames(fs::path(folder) / inner);
  if (const int error = sync(opened.get(), ::fsync); error != 0) failure = failed("sync folder", error);
  syncWayTo(folder);
  return failure;
}

}  // namespace

std::optional<ZRError> ZRFolderSync::makeDurable(const std::string& folder) {
  try {
    return syncEverything(folder);
  } catch (const std::bad_alloc&) {
    return failed("sync folder", ENOMEM);
  }
}

void ZRFolderSync::makeFileDurable(const std::string& path) {
  const fs::path file(path);
  const ZRFileDescriptor opened = openFolder(file.parent_path());
  if (!opened) return;
  (void)syncFile(opened.get(), file.filename());  // nothing speaks of it yet
  (void)sync(opened.get(), ::fsync);
}

void ZRFolderSync::syncNames(const std::string& folder) {
  if (const ZRFileDescriptor opened = openFolder(folder)) (void)sync(opened.get(), ::fsync);
}
