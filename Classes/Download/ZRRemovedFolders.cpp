#include "ZRRemovedFolders.h"

#include <cstdint>
#include <filesystem>
#include <random>
#include <system_error>

#include <sys/stat.h>

#include "ZRBackgroundQueue.h"
#include "ZRBaseFolders.h"
#include "ZRDownloadDataBase.h"
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

/// Empty when `folder` is none, or a link to one.
std::string noteName(const std::string& folder) {
  struct stat found {};
  if (::lstat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) return {};
  return std::string(ZRRemovedFolders::kPrefix) + std::to_string(found.st_ino);
}

/// What is on its way out below `parent`, at any depth; symbolic links are not followed.
void findRemoved(const fs::path& parent, std::vector<fs::path>& removed) {
  std::error_code error;
  for (fs::recursive_directory_iterator it(parent, error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (!fs::is_directory(it->symlink_status(ignored)) ||
        !it->path().filename().string().starts_with(ZRRemovedFolders::kPrefix)) {
      continue;
    }
    it.disable_recursion_pending();
    removed.push_back(it->path());
  }
}

void deleteOnceRowsAreDurable(const std::vector<fs::path>& removed, const std::string& rows) {
  if (removed.empty()) return;
  ZRDownloadDataBase::makeDurable(rows);
  for (const fs::path& folder : removed) removeAll(folder);
}

}  // namespace

ZRRemovedFolders::Note::Note(const std::string& folder) {
  const std::string name = noteName(folder);
  if (name.empty()) return;
  link_ = ZRPath::append(ZRBaseFolders::downloads(), name);
  std::error_code ignored;
  fs::create_directory_symlink(folder, link_, ignored);
}

ZRRemovedFolders::Note::~Note() {
  std::error_code ignored;
  if (!link_.empty()) fs::remove(link_, ignored);
}

void ZRRemovedFolders::remove(const std::string& folder) {
  const fs::path aside = fs::path(folder).parent_path() / asideName();
  std::error_code error;
  fs::rename(folder, aside, error);
  if (error == std::errc::no_such_file_or_directory) return;  // another process was first
  if (error) {
    removeAll(folder);  // at once: later it could be another task's folder
    return;
  }
  ZRBackgroundQueue::shared().post(
      [aside, rows = ZRDownloadDataBase::filePath()] { deleteOnceRowsAreDurable({aside}, rows); });
}

std::vector<fs::path> ZRRemovedFolders::notes() {
  std::vector<fs::path> notes;
  std::error_code error;
  for (fs::directory_iterator it(ZRBaseFolders::downloads(), error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (it->is_symlink(ignored) && it->path().filename().string().starts_with(kPrefix)) notes.push_back(it->path());
  }
  return notes;
}

void ZRRemovedFolders::settle(const std::vector<fs::path>& notes,
                              const std::function<bool(const std::string& folder)>& isClaimed) {
  for (const fs::path& note : notes) {
    std::error_code ignored;
    const std::string folder = fs::read_symlink(note, ignored);
    const bool isOurs =
        ZRPath::isBelow(folder, ZRBaseFolders::downloads()) || ZRPath::isBelow(folder, ZRBaseFolders::shares());
    if (isOurs && note.filename() == noteName(folder) && !isClaimed(folder)) remove(folder);
    fs::remove(note, ignored);
  }
}

void ZRRemovedFolders::sweep() {
  ZRBackgroundQueue::shared().post([downloads = ZRBaseFolders::downloads(), shares = ZRBaseFolders::shares(),
                                    rows = ZRDownloadDataBase::filePath()] {
    std::vector<fs::path> removed;
    findRemoved(downloads, removed);
    findRemoved(shares, removed);
    deleteOnceRowsAreDurable(removed, rows);
  });
}
