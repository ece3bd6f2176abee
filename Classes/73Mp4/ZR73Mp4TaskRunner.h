#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ZRField.h"
#include "ZRTabledTaskRunner.h"
#include "ZRText.h"

/// Where an MP4 task stands on its way. Not stored: a task that is loaded starts again by asking for its metadata.
enum class ZR73Mp4Phase : std::uint64_t {
  Mp4PhaseRequestInfo = 0,  ///< the host is asked for title, address and size
  Mp4PhaseDownload = 1,     ///< the file is downloaded
  Mp4PhaseFinished = 2,     ///< the file is complete
};

/// Downloads one MP4 file of the second site. The host supplies the metadata; the file continues where a partial one
/// ends.
///
/// Made by `ZRDownloadTask::taskWith73Params`. Main loop's thread only.
class ZR73Mp4TaskRunner final : public ZRTabledTaskRunner<ZR73Mp4TaskRunner, ZR73Mp4Phase> {
 public:
  /// A task from {"vid", "version": integers from 1, "cover": text (optional)}; null, with a log record, otherwise.
  static std::shared_ptr<ZR73Mp4TaskRunner> taskWithParams(const ZRDictionary& params);
  static std::shared_ptr<ZR73Mp4TaskRunner> initWithParams(const ZRDictionary& params);

  /// A task without parameters; for rows that are loaded.
  ZR73Mp4TaskRunner() = default;

  // ZR73Mp4TaskRunner.cpp
  std::optional<ZRDictionary> videoInfoDic() const override;
  void preloadVideoInfoIfNeed() override;
  std::optional<ZRTaskList> filtedSameAlbumTasks(const ZRTaskList& tasks) const override;
  std::string taskId() const override;
  std::string description() const override;

  std::int64_t vid() const noexcept { return vid_; }
  std::int32_t version() const noexcept { return version_; }
  std::int32_t site() const noexcept { return 3; }
  const ZRText& videoName() const noexcept { return videoName_; }
  const ZRText& vidoeUrl() const noexcept { return vidoeUrl_; }
  const ZRText& cover() const noexcept { return cover_; }
  std::int32_t duration() const noexcept { return duration_; }

  /// Bytes of the file as the host tells; 0 while unknown.
  std::int64_t fileSize() const noexcept { return fileSize_; }

  // ZR73Mp4TaskRunner+FileManager.cpp
  std::string videoSaveDir() const override;
  std::string videoSavePath() const;
  std::optional<std::string> localRelativeFilePath() const override;
  std::optional<std::string> localFullFilePath() const override;

  // ZR73Mp4TaskRunner+ORM.cpp
  static const ZRTaskTable& taskTable();
  static constexpr ZR73Mp4Phase kFinishedPhase = ZR73Mp4Phase::Mp4PhaseFinished;
  static constexpr const char* kLoadedLogFormat = "73:%lu/%lu";
  static std::span<const ZRField<ZR73Mp4TaskRunner>> fields();

 private:
  // ZR73Mp4TaskRunner.cpp
  void startPhase() override;
  std::int64_t toldSize() const override { return fileSize_; }
  void logFailure(const ZRError& error) const override;
  void finishDownload();

  // ZR73Mp4TaskRunner+FileManager.cpp
  std::string _fileName() const;
  std::string _fileDir() const;

  // ZR73Mp4TaskRunner+Network.cpp
  void requestMp4VideoInfo();
  ZRDictionary metadataRequest() const { return {{"vid", vid_}, {"version", version_}}; }
  void takeMetadata(const ZRDictionary& metadata);
  void downloadMp4();
  void handleCannotFindMP4URLErr();

  // What the row keeps, besides `downloadedBytes_`.
  std::int64_t vid_ = 0;
  std::int32_t version_ = 0;
  ZRText videoName_;
  ZRText cover_;
  std::int32_t duration_ = 0;
  std::int64_t fileSize_ = 0;
  double stamp_ = 0;  // nothing reads it

  // What lives while the process runs.
  ZRText vidoeUrl_;       // no column has this name, so a task that was loaded asks for its address again
  std::int64_t tag_ = 0;  // counts the requests for metadata; only the newest one's reply is taken
};
