#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZRDownloadVideoInfo.h"
#include "ZRField.h"
#include "ZRTabledTaskRunner.h"
#include "ZRText.h"

/// Where an HLS task stands on its way. Stored; a task that is loaded goes on from there.
enum class ZRM3u8Phase : std::uint64_t {
  PhaseLoadVideoInfo = 0,     ///< the service is asked for the video's record
  PhaseFetchPlaylist = 1,     ///< key and playlist are fetched, the host decrypts it, the thumbnail comes beside
  PhaseDownloadSegments = 2,  ///< the segments' addresses are stored; `currentSegment` is the one to fetch
  PhaseFinished = 3,          ///< every segment, or the one file, is complete
  PhaseDownloadMp4 = 4,       ///< a video that is one MP4 file: the file is downloaded
};

/// Downloads one video of the main service: asks for its record and its playlist, lets the host decrypt the playlist,
/// and fetches the segments one after another, so that it can go on at any of them. Some videos are one MP4 file in
/// place of a playlist.
///
/// Made by `ZRDownloadTask::taskWithParams`. Main loop's thread only.
class ZRM3u8TaskRunner final : public ZRTabledTaskRunner<ZRM3u8TaskRunner, ZRM3u8Phase> {
 public:
  /// A task from {"aid", "vid", "site", "version": integers, the last three from 1, "albumPic": text (optional)}; null,
  /// with a log record, otherwise.
  static std::shared_ptr<ZRM3u8TaskRunner> taskWithParams(const ZRDictionary& params);
  static std::shared_ptr<ZRM3u8TaskRunner> initWithParams(const ZRDictionary& params);

  /// A task for the video of that record, which it takes over.
  static std::shared_ptr<ZRM3u8TaskRunner> initWithVideoInfo(std::shared_ptr<const ZRDownloadVideoInfo> videoInfo);

  /// A task without a record; for rows that are loaded.
  ZRM3u8TaskRunner() = default;

  // ZRM3u8TaskRunner.cpp
  std::optional<ZRDictionary> videoInfoDic() const override;
  void preloadVideoInfoIfNeed() override;
  std::optional<std::string> m3u8Url() const override { return videoInfo_ ? videoInfo_->m3u8Url() : std::nullopt; }
  std::uint64_t receivedBytes() const override;
  std::optional<ZRTaskList> filtedSameAlbumTasks(const ZRTaskList& tasks) const override;
  std::string description() const override;
  std::string debugDescription() const override;

  /// Null for a task whose row holds none that can be read; all that follows from it is 0 then.
  const std::shared_ptr<const ZRDownloadVideoInfo>& videoInfo() const noexcept { return videoInfo_; }
  std::int64_t vid() const noexcept { return videoInfo_ ? videoInfo_->videoId() : 0; }
  std::int64_t aid() const noexcept { return videoInfo_ ? videoInfo_->aid() : 0; }
  std::int32_t site() const noexcept { return videoInfo_ ? videoInfo_->site() : 0; }
  std::int32_t version() const noexcept { return videoInfo_ ? videoInfo_->version() : 0; }
  bool isShafa() const noexcept { return videoInfo_ && videoInfo_->isShafa(); }

  /// Address of the album's cover, as the host gave it.
  const ZRText& albumPic() const noexcept { return albumPic_; }

  /// When the segments' addresses were stored, in seconds since 1970.
  double stamp() const noexcept { return stamp_; }

  /// The segment to fetch, from 0: all below it are on disk.
  std::int64_t currentSegment() const noexcept { return currentSegment_; }
  std::int64_t totalSegment() const noexcept { return totalSegment_; }

  /// Bytes of the complete segments and of the one in flight.
  std::uint64_t allDownloadedSegmentsBytes() const noexcept { return allDownloadedSegmentsBytes_; }
  std::uint64_t currentSegmentBytes() const noexcept { return currentSegmentBytes_; }

  // ZRM3u8TaskRunner+FileManager.cpp

  std::string videoSaveDir() const override;

  /// The encrypted playlist; it stays only until the host has decrypted it.
  std::string netM3U8FilePath() const;
  std::string thumbImgPath() const;
  std::string mp4VideoSavePath() const;
  std::string currentDownloadSegmentPath() const;

  /// The playlist, whatever the kind of the video.
  std::optional<std::string> localRelativeFilePath() const override;

  /// The playlist, or the one MP4 file.
  std::optional<std::string> localFullFilePath() const override;

  // ZRM3u8TaskRunner+ORM.cpp: the task's row.
  static const ZRTaskTable& taskTable();
  static constexpr ZRM3u8Phase kFinishedPhase = ZRM3u8Phase::PhaseFinished;
  static constexpr const char* kLoadedLogFormat = "m3:%lu/%lu";
  static void setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db);
  static std::span<const ZRField<ZRM3u8TaskRunner>> fields();

  // ZRM3u8TaskRunner+ORM.cpp: the addresses of the segments that are not on disk yet, Base64 on one line.
  static const ZRTaskTable& tsInfoTable();
  static const ZRColumnMap& columnPropertiesForTSInfoTable() { return tsInfoTable().columns(); }
  static std::string createTsInfoTableSQL() { return tsInfoTable().createTaskTableSQL(); }
  static std::string queryTSUrlSQLWithTaskId(std::int64_t taskId, std::int64_t idx);
  static std::string deleteTSSQLWithTaskId(const std::string& taskId, std::int64_t idx);
  static std::string deleteAllTSSQLWithTaskId(std::int64_t taskId);
  static std::string deleteAllTSSQLWithTaskIds(const std::vector<std::int64_t>& taskIds);

  /// Nothing when the address is empty.
  static std::optional<std::string> insertTsInfoSQLWithIdx(std::int64_t idx, std::int64_t taskId,
                                                           const std::string& base64Url);

  /// Replaces the task's rows by one for each address, in playlist order. An empty address keeps its place and gets no
  /// row.
  void updateAllTsURL(const std::vector<std::string>& urls);

  /// The address of `currentSegment`; nothing when there is no row for it.
  std::optional<std::string> queryCurrentDownloadSegmentUrl() const;

 private:
  using VideoInfoCompletion = void (ZRM3u8TaskRunner::*)(const std::optional<ZRError>& error,
                                                         const std::shared_ptr<ZRDownloadVideoInfo>& videoInfo);

  // ZRM3u8TaskRunner.cpp
  void startPhase() override;
  std::int64_t toldSize() const override { return videoInfo_ ? videoInfo_->totalSize() : 0; }
  void logFailure(const ZRError& error) const override;
  void rowLoaded() override;
  void setVideoInfo(std::shared_ptr<const ZRDownloadVideoInfo> videoInfo);
  void takeVideoInfo(const std::shared_ptr<ZRDownloadVideoInfo>& received);
  void videoInfoLoaded(const std::optional<ZRError>& error, const std::shared_ptr<ZRDownloadVideoInfo>& videoInfo);
  void videoInfoPreloaded(const std::optional<ZRError>& error, const std::shared_ptr<ZRDownloadVideoInfo>& videoInfo);
  void finishDownloadTS();

  // ZRM3u8TaskRunner+FileManager.cpp
  std::string _fileDir() const;
  std::string fileName(std::string_view suffix) const;
  std::string mp4FileName() const { return fileName(".mp4"); }
  std::string savePath(std::string_view name) const;
  std::string _localRelativeM3U8FilePath() const;
  std::string _localFullM3U8FilePath() const;
  static std::string segmentName(std::int64_t segment);
  bool validateCurrentDownloadSegment() const;
  bool rewindToWholeSegments();

  // ZRM3u8TaskRunner+Network.cpp: the record and the playlist.
  void requestM3u8VideoInfo(VideoInfoCompletion completion);
  static ZRDictionary cdnDefaultParams();
  static std::optional<ZRError> checkErrorBeforeDownloadM3u8File() { return std::nullopt; }
  void downloadM3u8File();
  void downloadM3u8FileWithMkey(const ZRDictionary& keyReply, const std::string& m3u8URL);
  void playlistEnded(const SCNetworkApiResponseProtocol& response);
  void afterDecryption(const ZRDictionary& reply, const std::optional<ZRError>& error);
  void decryptionFailed(const ZRError& error);
  void handleCannotFindM3u8URLErr();
  void downloadMp4();
  void downloadThumImgFile();
  bool isAwaitingPlaylist() const noexcept { return isExecuting() && phase() == ZRM3u8Phase::PhaseFetchPlaylist; }

  // ZRM3u8TaskRunner+Network.cpp: the segments.
  void goOnWithSegments();
  void downloadNextTS();
  void requestNextTS();
  std::optional<std::string> currentTSURL() const;
  void requestSegment(const std::string& url);
  void segmentEnded(const SCNetworkApiResponseProtocol& response);
  void segmentCompleted();
  void handleCannotFindTSURLErr();

  // ZRM3u8TaskRunner+ORM.cpp
  bool _cleanTSAndTaskInDB() override;
  void deleteTSSQLWithIdx(std::int64_t idx);  // and writes the task's row with it
  const std::string& archivedVideoInfo() const;

  // What the row keeps.
  std::shared_ptr<const ZRDownloadVideoInfo> videoInfo_;
  ZRText albumPic_;
  double stamp_ = 0;
  std::int64_t currentSegment_ = 0;
  std::int64_t totalSegment_ = 0;
  std::uint64_t allDownloadedSegmentsBytes_ = 0;

  // What lives while the process runs.
  std::uint64_t currentSegmentBytes_ = 0;
  double segmentStart_ = 0;                          // when the segment in flight was asked for, in seconds since 1970
  std::string segmentPath_;                          // its file; asking for the path again would look at the disk
  std::weak_ptr<SCNetworkBaseApi> playlistRequest_;  // the newest one, so that two never write the same file
  mutable std::string archivedVideoInfo_;            // videoInfo_ as its column has it; empty until it is asked for
};
