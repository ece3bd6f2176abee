#include "ZRRemovedFolders.h"

#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>

#include "ZRBackgroundQueue.h"
#include "ZRDownloadDataBase.h"
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

/// Deletes what is on its way out, at any depth; symbolic links are not followed.
void sweepFolder(const fs::path& parent) {
  std::error_code error;
  for (fs::recursive_directory_iterator it(parent, error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (!fs::is_directory(it->symlink_status(ignored)) ||
        !it->path().filename().string().starts_with(ZRRemovedFolders::kPrefix)) {
      continue;
    }
    it.disable_recursion_pending();
    removeAll(it->path());
  }
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
  ZRBackgroundQueue::shared().post([aside, rows = ZRDownloadDataBase::filePath()] {
    ZRDownloadDataBase::makeDurable(rows);
    removeAll(aside);
  });
}

void ZRRemovedFolders::sweep() {
  const ZRHostInfo& host = ZRHost::current();
  const fs::path downloads =
      ZRPath::append(ZRPath::append(host.applicationSupportFolder, host.bundleIdentifier), kDownloadDir);
  const fs::path shares = ZRPath::append(host.moviesFolder, kShareDownloadDir);
  ZRBackgroundQueue::shared().post([downloads, shares] {
    sweepFolder(downloads);
    sweepFolder(shares);
  });
}
