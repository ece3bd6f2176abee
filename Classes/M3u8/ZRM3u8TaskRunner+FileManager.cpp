#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "SCFileDescriptor.h"
#include "ZRM3u8Rules.h"
#include "ZRM3u8TaskRunner.h"
#include "ZRPath.h"

namespace {

/// How many bytes of the file's start were read into `bytes`; nothing when the file cannot be read.
std::optional<std::size_t> readStart(const std::string& path, std::span<std::uint8_t> bytes) {
  const SCFileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return std::nullopt;
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t got = ::read(file.get(), bytes.data() + size, bytes.size() - size);
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return std::nullopt;
    if (got > 0) size += static_cast<std::size_t>(got);
  }
  return size;
}

}  // namespace

std::string ZRM3u8TaskRunner::_fileDir() const {
  return std::to_string(vid()) + "-" + std::to_string(version());
}

std::string ZRM3u8TaskRunner::_fileName(std::string_view suffix) const {
  return _fileDir().append(suffix);
}

std::string ZRM3u8TaskRunner::videoSaveDir() const {
  return ZRDownloadManager::pathByRelativeBasePath(_fileDir());
}

std::string ZRM3u8TaskRunner::_savePath(std::string_view fileName) const {
  return ZRPath::append(videoSaveDir(), fileName);
}

std::string ZRM3u8TaskRunner::_localRelativeM3U8FilePath() const {
  return _fileDir() + "/" + _fileName(".local.m3u8");
}

std::string ZRM3u8TaskRunner::_localFullM3U8FilePath() const {
  return _savePath(_fileName(".local.m3u8"));
}

std::string ZRM3u8TaskRunner::netM3U8FilePath() const {
  return _savePath(_fileName(".net.m3u8"));
}

std::string ZRM3u8TaskRunner::thumbImgPath() const {
  return _savePath(_fileName(".jpg"));
}

std::string ZRM3u8TaskRunner::mp4VideoSavePath() const {
  return _savePath(mp4FileName());
}

std::string ZRM3u8TaskRunner::currentDownloadSegmentPath() const {
  return _savePath(std::to_string(currentSegment_) + ".ts");
}

std::optional<std::string> ZRM3u8TaskRunner::localRelativeFilePath() const {
  return _localRelativeM3U8FilePath();
}

std::optional<std::string> ZRM3u8TaskRunner::localFullFilePath() const {
  return isShafa() ? mp4VideoSavePath() : _localFullM3U8FilePath();
}

bool ZRM3u8TaskRunner::validateCurrentDownloadSegment() const {
  std::array<std::uint8_t, ZRM3u8Rules::kCheckedBytes> bytes{};
  const std::optional<std::size_t> size = readStart(currentDownloadSegmentPath(), bytes);
  return size && ZRM3u8Rules::isTransportStream(std::span(bytes).first(*size));
}
