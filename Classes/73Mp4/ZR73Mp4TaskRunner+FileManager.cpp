#include "ZR73Mp4TaskRunner.h"
#include "ZRPath.h"

std::string ZR73Mp4TaskRunner::_fileName() const {
  return std::to_string(vid_) + "-" + std::to_string(version_) + ".mp4";
}

std::string ZR73Mp4TaskRunner::_fileDir() const {
  return "73-" + std::to_string(vid_) + "-" + std::to_string(version_);
}

std::string ZR73Mp4TaskRunner::videoSaveDir() const {
  return ZRDownloadManager::pathByRelativeBasePath(_fileDir());
}

std::string ZR73Mp4TaskRunner::videoSavePath() const {
  return ZRPath::append(videoSaveDir(), _fileName());
}

std::optional<std::string> ZR73Mp4TaskRunner::localRelativeFilePath() const {
  return _fileDir() + "/" + _fileName();
}

std::optional<std::string> ZR73Mp4TaskRunner::localFullFilePath() const {
  return videoSavePath();
}
