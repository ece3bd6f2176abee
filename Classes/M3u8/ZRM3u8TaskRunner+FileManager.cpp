#include <array>
#include <cerrno>
#include <filesystem>
#include <numeric>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "ZRFileDescriptor.h"
#include "ZRM3u8Rules.h"
#include "ZRM3u8TaskRunner.h"
#include "ZRPath.h"

namespace {

/// How many bytes of the file's start were read into `bytes`; nothing when the file cannot be read.
std::optional<std::size_t> readStart(const std::string& path, std::span<std::uint8_t> bytes) {
  const ZRFileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
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

std::string ZRM3u8TaskRunner::fileName(std::string_view suffix) const {
  return _fileDir().append(suffix);
}

std::string ZRM3u8TaskRunner::videoSaveDir() const {
  return ZRDownloadManager::pathByRelativeBasePath(_fileDir());
}

std::string ZRM3u8TaskRunner::savePath(std::string_view fileName) const {
  return ZRPath::append(videoSaveDir(), fileName);
}

std::string ZRM3u8TaskRunner::_localRelativeM3U8FilePath() const {
  return _fileDir() + "/" + fileName(".local.m3u8");
}

std::string ZRM3u8TaskRunner::_localFullM3U8FilePath() const {
  return savePath(fileName(".local.m3u8"));
}

std::string ZRM3u8TaskRunner::netM3U8FilePath() const {
  return savePath(fileName(".net.m3u8"));
}

std::string ZRM3u8TaskRunner::thumbImgPath() const {
  return savePath(fileName(".jpg"));
}

std::string ZRM3u8TaskRunner::mp4VideoSavePath() const {
  return savePath(mp4FileName());
}

std::string ZRM3u8TaskRunner::currentDownloadSegmentPath() const {
  return savePath(segmentName(currentSegment_));
}

std::string ZRM3u8TaskRunner::segmentName(std::int64_t segment) {
  return std::to_string(segment) + ".ts";
}

std::optional<std::string> ZRM3u8TaskRunner::localRelativeFilePath() const {
  return _localRelativeM3U8FilePath();
}

std::optional<std::string> ZRM3u8TaskRunner::localFullFilePath() const {
  return isShafa() ? mp4VideoSavePath() : _localFullM3U8FilePath();
}

bool ZRM3u8TaskRunner::validateCurrentDownloadSegment() const {
  std::array<std::uint8_t, ZRM3u8Rules::kCheckedBytes> bytes{};
  const std::optional<std::size_t> size = readStart(segmentPath_, bytes);
  return size && ZRM3u8Rules::isTransportStream(std::span(bytes).first(*size));
}

/// Goes back to the first segment that is not whole when the files are not as long as the row says; false when they
/// are. The row may be from before a power cut that the files did not survive.
bool ZRM3u8TaskRunner::rewindToWholeSegments() {
  const std::filesystem::path folder = videoSaveDir();  // once: asking for it looks at the disk
  std::vector<std::uint64_t> lengths;
  std::error_code missing;
  for (std::int64_t segment = 0; segment < currentSegment_ && !missing; ++segment) {
    const std::uintmax_t length = std::filesystem::file_size(folder / segmentName(segment), missing);
    lengths.push_back(missing ? 0 : length);
  }
  if (std::accumulate(lengths.begin(), lengths.end(), std::uint64_t{0}) == allDownloadedSegmentsBytes_ && !missing) {
    return false;
  }
  lengths.resize(ZRM3u8Rules::wholeSegments(lengths));
  log(ZRLogLevel::Event, "ts:%ld back to %zu", currentSegment_, lengths.size());
  currentSegment_ = static_cast<std::int64_t>(lengths.size());
  allDownloadedSegmentsBytes_ = std::accumulate(lengths.begin(), lengths.end(), std::uint64_t{0});
  return true;
}
