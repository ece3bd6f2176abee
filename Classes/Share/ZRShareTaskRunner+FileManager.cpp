#include <filesystem>
#include <system_error>

#include "ZRPath.h"
#include "ZRShareRules.h"
#include "ZRShareTaskRunner.h"

namespace fs = std::filesystem;

namespace {

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
  return folder ? ZRDownloadManager::pathByRelativeShareBasePath(*folder) : std::string();
}

std::optional<std::string> ZRShareTaskRunner::videoSavePath() const {
  return savePathWithName(videoName());
}

std::optional<std::string> ZRShareTaskRunner::coverFilePath() const {
  std::optional<std::string> path = savePathWithName(vid().value_or("") + ".jpg");
  const std::optional<std::string> video = videoSavePath();
  return path && video && ZRShareRules::disturbsVideo(*path, *video) ? std::nullopt : path;
}

std::optional<std::string> ZRShareTaskRunner::savePathWithName(const std::optional<std::string>& name) const {
  const std::string folder = videoSaveDir();
  if (folder.empty() || !name) return std::nullopt;
  return ZRShareRules::pathInFolder(folder, *name);
}

/// Whether a download may write to `path`: nothing but a file of its own stands there, and it is not reached through a
/// link.
bool ZRShareTaskRunner::makeRoomForFile(const std::string& path) const {
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
