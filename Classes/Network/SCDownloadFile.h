#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "SCBufferPool.h"
#include "SCVersion.h"
#include "SCVersionFile.h"
#include "ZRError.h"
#include "ZRFileDescriptor.h"

/// The file end of one download. Owned by its transfer; the agent's thread only.
///
/// Without resume the bytes go to `.NAME.part`, which takes the file's place in `finish`. With resume the file itself
/// grows, and the version of what it holds stands in `.NAME.resume`, also after `finish`: no data is synced here, and
/// until somebody has done so a power cut may take the file's end away again. The file that is written is claimed, so
/// that nobody else writes, truncates or removes it. The folder is held open, so a folder that is renamed away during
/// the download takes its file along and a new one in its place is not touched.
///
/// Every operation gives an error or nothing; after an error only `abandon` makes sense.
class SCDownloadFile final {
 public:
  using Failure = std::optional<ZRError>;

  /// Touches nothing yet. `pool` outlives the file.
  SCDownloadFile(std::string path, bool resume, SCBufferPool& pool);
  ~SCDownloadFile();
  SCDownloadFile(const SCDownloadFile&) = delete;
  SCDownloadFile& operator=(const SCDownloadFile&) = delete;

  /// Opens the folder and claims and measures what is there, creating nothing. What stands in the file's place must be
  /// a regular file.
  [[nodiscard]] Failure prepare();

  /// Bytes that the file system has and whose version is known; those in the buffer do not count.
  std::int64_t length() const noexcept { return length_; }

  /// What is known about these bytes; only with resume.
  const SCVersion& version() const noexcept { return version_; }

  /// The body is the whole file: opens it empty.
  [[nodiscard]] Failure startOver(const SCVersion& version);

  /// The body goes on where the bytes that are there end.
  void appendRest(const SCVersion& version);

  /// How long the file will be, as far as that is known. Its last bytes are written in smaller pieces then, so that
  /// little is left to write when the last one arrives.
  void expect(std::int64_t completeLength) noexcept { expected_ = completeLength; }

  /// Takes over bytes of the body; they are written in large pieces.
  [[nodiscard]] Failure append(std::string_view bytes);

  /// True while bytes wait in the buffer.
  bool hasBuffered() const noexcept { return buffered_ > 0; }

  /// Writes what waits in the buffer.
  [[nodiscard]] Failure flush();

  /// The body is complete: brings it into place.
  [[nodiscard]] Failure finish();

  /// The body stays incomplete: keeps what arrived with resume, else leaves no file behind. Does nothing after
  /// `finish`.
  void abandon();

 private:
  Failure open(const std::string& name, int flags);
  Failure claim();
  Failure openNewPart();
  Failure removeLeftoverPart();
  bool isOurs(const std::string& name) const;
  void setVersion(const SCVersion& version);
  Failure finishInPlace();
  Failure finishPart();
  std::size_t pieceSize() const noexcept;
  std::size_t roomUntilBoundary() const noexcept;
  Failure write(std::string_view bytes);
  void startWriteback(std::int64_t smallest);

  // Set once.
  const std::string path_;
  const bool resume_;
  SCBufferPool& pool_;
  const std::string name_;  // empty when the path is none
  const std::string partName_;

  ZRFileDescriptor folder_;
  SCVersionFile versionFile_{folder_, name_};
  ZRFileDescriptor file_;
  ino_t inode_ = 0;  // of file_
  SCVersion version_;
  std::int64_t length_ = 0;
  std::int64_t expected_ = 0;     // 0 when it is not known
  std::int64_t writtenBack_ = 0;  // bytes whose way to the disk has been started
  SCBufferPool::Buffer buffer_;
  std::size_t buffered_ = 0;
};
