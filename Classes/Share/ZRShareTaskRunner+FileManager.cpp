#include <algorithm>
#include <filesystem>
#include <system_error>

#include "ZRPath.h"
#include "ZRShareRules.h"
#include "ZRShareTaskRunner.h"

namespace fs = std::filesystem;

namespace {

/// Ids with a "/" of their own may name a file of another task, and a file in a folder's place would be deleted.
bool isAnothersFile(const std::string& taskFolder) {
  if (std::count(taskFolder.begin(), taskFolder.end(), '/') < 2) return false;
  std::error_code unreachable;
  const fs::path path = ZRPath::append(ZRDownloadManager::downloadShareBasePath(), taskFolder);
  return fs::exists(path, unreachable) && !fs::is_directory(path, unreachable);
}

/// Makes the folders between the task's folder and a file further down in it, unless a symbolic link leads out of it.
bool makeFoldersBetween(const fs::path& taskFolder, const fs::path& fileFolder) {
  if (fileFolder == taskFolder) return true;
  std::error_code error;
  const fs::path outer = fs::canonical(taskFolder, error);
  const fs::path inner = error ? fs::path() : fs::weakly_canonical(fileFolder, error);
  if (error || !ZRPath::isBelow(inner.string(), outer.string())) return false;
  fs::create_directories(inner, error);
  return !error;
}

}  // namespace

std::optional<std::string> ZRShareTaskRunner::_fileDir() const {
  return ZRShareRules::taskFolder(aid().value_or(""), vid().value_or(""));
}

std::string ZRShareTaskRunner::videoSaveDir() const {
  const std::optional<std::string> folder = _fileDir();
  if (!folder || isAnothersFile(*folder)) return {};
  return ZRDownloadManager::pathByRelativeShareBasePath(*folder);
}

std::optional<std::string> ZRShareTaskRunner::videoSavePath() const {
  return savePathWithName(videoName());
}

std::optional<std::string> ZRShareTaskRunner::coverFilePath() const {
  return savePathWithName(vid().value_or("") + ".jpg");
}

std::optional<std::string> ZRShareTaskRunner::savePathWithName(const std::optional<std::string>& name) const {
  const std::string folder = videoSaveDir();
  if (folder.empty() || !name) return std::nullopt;
  return ZRShareRules::pathInFolder(folder, *name);
}

/// Whether a download may write to `path`: nothing but a file of its own stands there, and it is not reached through a
/// link.
bool ZRShareTaskRunner::_makeRoomForFile(const std::string& path) const {
  if (!makeFoldersBetween(videoSaveDir(), fs::path(path).parent_path())) return false;
  std::error_code ignored;  // the type tells what is needed
  const fs::file_type found = fs::symlink_status(path, ignored).type();
  return found == fs::file_type::not_found || found == fs::file_type::regular;
}

std::optional<std::string> ZRShareTaskRunner::_localRelativeShareFilePath() const {
  const std::optional<std::string> folder = _fileDir();
  if (!folder || !videoName()) return std::nullopt;
  return ZRShareRules::pathInFolder(*folder, *videoName());
}

std::optional<std::string> ZRShareTaskRunner::_localFullShareFilePath() const {
  return videoSavePath();
}

std::optional<std::string> ZRShareTaskRunner::localRelativeFilePath() const {
  return _localRelativeShareFilePath();
}

std::optional<std::string> ZRShareTaskRunner::localFullFilePath() const {
  return _localFullShareFilePath();
}
