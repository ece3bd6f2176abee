#include "ZRRemovedFolders.h"

#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>

#include "ZRBackgroundQueue.h"
#include "ZRDownloadManager.h"
#include "ZRHost.h"
#include "ZRPath.h"

namespace fs = std::filesystem;

namespace {

fs::path asideName() {
  std::random_device random;
  const std::uint64_t number = (std::uint64_t{random()} << 32) | random();
  return std::string(ZRRemovedFolders::kPrefix) + std::to_string(number);
}

void removeAll(const fs::path& folder) {
  std::error_code ignored;  // a folder that stays is swept by a later start
  fs::remove_all(folder, ignored);
}

/// Calls `visit` with each real folder (no symbolic link) in `parent`.
template <class Visit>
void forEachFolder(const fs::path& parent, Visit visit) {
  std::error_code error;
  for (fs::directory_iterator it(parent, error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (fs::is_directory(it->symlink_status(ignored))) visit(it->path());
  }
}

void sweepFolder(const fs::path& parent) {
  forEachFolder(parent, [](const fs::path& folder) {
    if (folder.filename().string().starts_with(ZRRemovedFolders::kPrefix)) removeAll(folder);
  });
}

}  // namespace

void ZRRemovedFolders::remove(const std::string& folder) {
  const fs::path aside = fs::path(folder).parent_path() / asideName();
  std::error_code error;
  fs::rename(folder, aside, error);
  if (error) {
    removeAll(folder);  // at once: later it could be another task's folder
    return;
  }
  ZRBackgroundQueue::shared().post([aside] { removeAll(aside); });
}

void ZRRemovedFolders::sweep() {
  const ZRHostInfo& host = ZRHost::current();
  const fs::path downloads =
      ZRPath::append(ZRPath::append(host.applicationSupportFolder, host.bundleIdentifier), kDownloadDir);
  const fs::path shares = ZRPath::append(host.moviesFolder, kShareDownloadDir);
  ZRBackgroundQueue::shared().post([downloads, shares] {
    sweepFolder(downloads);
    forEachFolder(shares, [](const fs::path& album) { sweepFolder(album); });
  });
}
