#include "ZRRemovedFolders.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "ZRBackgroundQueue.h"
#include "ZRBaseFolders.h"
#include "ZRDownloadDataBase.h"
#include "ZRPath.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kNoteSuffix = ".note";

/// Where a folder on its way out is until then, and the note of it; empty when there is none.
struct Aside {
  fs::path folder;
  fs::path note;
};

fs::path noteIn(const fs::path& base, const fs::path& name) {
  return base / (name.native() + std::string(kNoteSuffix));
}

/// The name of `folder` while it is aside; empty when it is no folder, or a link to one.
std::string asideName(const std::string& folder) {
  struct stat found {};
  if (::lstat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) return {};
  return std::string(ZRRemovedFolders::kPrefix) + std::to_string(found.st_ino);
}

Aside asideOf(const std::string& folder, const std::string& name) {
  const std::string shares = ZRBaseFolders::shares();
  const std::string base = ZRPath::isBelow(folder, shares) ? shares : ZRBaseFolders::downloads();
  return {fs::path(folder).parent_path() / name, noteIn(base, name)};
}

/// Not a link to a folder.
bool isFolder(const fs::path& path) {
  std::error_code ignored;
  return fs::is_directory(fs::symlink_status(path, ignored));
}

bool isLink(const fs::path& path) {
  std::error_code ignored;
  return fs::is_symlink(path, ignored);
}

void removeAll(const fs::path& folder) {
  std::error_code ignored;  // a folder that stays is swept by a later start
  fs::remove_all(folder, ignored);
}

void drop(const fs::path& note) {
  std::error_code ignored;
  fs::remove(note, ignored);
}

/// What is on its way out below `base`, at any depth, without a note; symbolic links are not followed.
void findRemoved(const fs::path& base, std::vector<Aside>& removed) {
  std::error_code error;
  for (fs::recursive_directory_iterator it(base, error), end; !error && it != end; it.increment(error)) {
    const fs::path name = it->path().filename();
    if (!name.native().starts_with(ZRRemovedFolders::kPrefix) || !isFolder(it->path())) continue;
    it.disable_recursion_pending();
    if (!isLink(noteIn(base, name))) removed.push_back({it->path(), {}});
  }
}

void deleteOnceRowsAreDurable(const std::vector<Aside>& removed, const std::string& rows) {
  if (removed.empty()) return;
  ZRDownloadDataBase::makeDurable(rows);
  for (const auto& [folder, note] : removed) {
    removeAll(folder);
    drop(note);
  }
}

void deleteLater(Aside aside) {
  ZRBackgroundQueue::shared().post(
      [aside = std::move(aside), rows = ZRDownloadDataBase::filePath()] { deleteOnceRowsAreDurable({aside}, rows); });
}

/// Ends what one note speaks of; false when the note is needed until the folder has gone.
bool settleOne(const std::string& folder, const std::string& name, bool isClaimed) {
  const Aside aside = asideOf(folder, name);
  std::error_code error;
  if (!isFolder(aside.folder)) {
    if (isClaimed || asideName(folder) != name) return true;
    ZRRemovedFolders::remove(folder);
    return false;
  }
  if (isClaimed && !ZRPath::exists(folder)) {
    fs::rename(aside.folder, folder, error);
    return true;
  }
  deleteLater(aside);
  return false;
}

}  // namespace

ZRRemovedFolders::Note::Note(std::string folder) : folder_(std::move(folder)) {
  const std::string name = asideName(folder_);
  std::error_code ignored;
  if (!name.empty()) fs::create_directory_symlink(folder_, asideOf(folder_, name).note, ignored);
}

ZRRemovedFolders::Note::~Note() {
  const std::string name = asideName(folder_);
  if (!name.empty()) drop(asideOf(folder_, name).note);
}

void ZRRemovedFolders::remove(const std::string& folder) {
  const std::string name = asideName(folder);
  if (name.empty()) return removeAll(folder);  // the link alone
  Aside aside = asideOf(folder, name);
  std::error_code error;
  fs::rename(folder, aside.folder, error);
  if (!error) return deleteLater(std::move(aside));
  if (error == std::errc::no_such_file_or_directory) return;  // another process was first
  removeAll(folder);                                          // at once: later it could be another task's folder
  drop(aside.note);
}

std::vector<fs::path> ZRRemovedFolders::notes() {
  std::vector<fs::path> notes;
  for (const std::string& base : ZRBaseFolders::all()) {
    std::error_code error;
    for (fs::directory_iterator it(base, error), end; !error && it != end; it.increment(error)) {
      const std::string name = it->path().filename();
      if (name.starts_with(kPrefix) && name.ends_with(kNoteSuffix) && isLink(it->path())) notes.push_back(it->path());
    }
  }
  return notes;
}

void ZRRemovedFolders::settle(const std::vector<fs::path>& notes,
                              const std::function<bool(const std::string& folder)>& isClaimed) {
  const auto bases = ZRBaseFolders::all();
  for (const fs::path& note : notes) {
    std::error_code ignored;
    const std::string folder = fs::read_symlink(note, ignored);
    const bool isOurs = std::ranges::any_of(bases, [&](const auto& base) { return ZRPath::isBelow(folder, base); });
    if (!isOurs || settleOne(folder, note.stem(), isClaimed(folder))) drop(note);
  }
}

void ZRRemovedFolders::sweep() {
  ZRBackgroundQueue::shared().post([bases = ZRBaseFolders::all(), rows = ZRDownloadDataBase::filePath()] {
    std::vector<Aside> removed;
    for (const std::string& base : bases) findRemoved(base, removed);
    deleteOnceRowsAreDurable(removed, rows);
  });
}
