#include <filesystem>
#include <system_error>

#include "ZRBaseFolders.h"
#include "ZRDownloadManager.h"
#include "ZRHost.h"
#include "ZRPath.h"

namespace fs = std::filesystem;

namespace {

/// Makes the folder with all missing ones above it. What fails here shows when a file is written there.
std::string ensureFolder(std::string path) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) return path;
  if (fs::exists(path, ignored)) fs::remove(path, ignored);
  fs::create_directories(path, ignored);
  return path;
}

std::string appended(const std::string& base, const std::optional<std::string>& sub) {
  return sub ? ZRPath::append(base, *sub) : base;
}

/// The first finished task with that id; null when there is none.
std::shared_ptr<ZRDownloadTask> finishedTaskWithId(const std::string& taskId) {
  for (const auto& task : ZRDownloadManager::sharedManager()->allFinishedTaskArr()) {
    if (task->taskId() == taskId) return task;
  }
  return nullptr;
}

}  // namespace

std::string ZRDownloadManager::offlineDataPath(const std::optional<std::string>& sub) {
  return ensureFolder(appended(ZRBaseFolders::application(), sub));
}

std::string ZRDownloadManager::offlineShareDataPath(const std::optional<std::string>& sub) {
  return ensureFolder(appended(ZRHost::current().moviesFolder, sub));
}

std::string ZRDownloadManager::downloadBasePath() {
  return ensureFolder(ZRBaseFolders::downloads());
}

std::string ZRDownloadManager::downloadShareBasePath() {
  return ensureFolder(ZRBaseFolders::shares());
}

std::string ZRDownloadManager::pathByRelativeBasePath(const std::optional<std::string>& relative) {
  return ensureFolder(relative ? ZRPath::append(ZRBaseFolders::downloads(), *relative) : ZRBaseFolders::application());
}

std::string ZRDownloadManager::pathByRelativeShareBasePath(const std::optional<std::string>& relative) {
  return ensureFolder(relative ? ZRPath::append(ZRBaseFolders::shares(), *relative) : ZRHost::current().moviesFolder);
}

std::optional<std::string> ZRDownloadManager::relativeMoviePathWithTaskId(const std::string& taskId) {
  const auto task = finishedTaskWithId(taskId);
  return task ? task->localRelativeFilePath() : std::nullopt;
}

std::optional<std::string> ZRDownloadManager::fullMoviePathWithTaskId(const std::string& taskId) {
  const auto task = finishedTaskWithId(taskId);
  return task ? task->localFullFilePath() : std::nullopt;
}
