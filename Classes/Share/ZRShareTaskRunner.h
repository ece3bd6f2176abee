#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZRField.h"
#include "ZRShareDownloadModel.h"
#include "ZRShareVideoDetail.h"
#include "ZRTabledTaskRunner.h"

/// Where a share stands on its way. Not stored: a task that is loaded starts again by looking for the device.
enum class ZRSharePhase : std::uint64_t {
  SharePhaseRequestInfo = 0,  ///< the device is looked for, then asked for the video's detail
  SharePhaseSubtitles = 1,    ///< the subtitles are downloaded one after another, the last first; the cover beside them
  SharePhaseVideo = 2,        ///< the video is downloaded; the cover beside it, unless it is there
  SharePhaseFinished = 3,     ///< the video is complete
};

/// Downloads one video, with its cover and its subtitles, from a device on the local network. The device is reached at
/// its LAN address if it answers there within a second, else at the address that the share service tells. The video
/// continues where a partial file ends.
///
/// Made by `ZRDownloadTask::taskWithShareParams`. Main loop's thread only.
class ZRShareTaskRunner final : public ZRTabledTaskRunner<ZRShareTaskRunner, ZRSharePhase> {
 public:
  /// A task from {"vid", "albumId", "videoName", "shareUrl", "host", "albumName", "deviceName": texts, "fileSize":
  /// bytes, "duration": integer, "lanOnly": boolean}. Never null; what is missing shows when it is needed.
  static std::shared_ptr<ZRShareTaskRunner> taskWithParams(const ZRDictionary& params);
  static std::shared_ptr<ZRShareTaskRunner> initWithParams(const ZRDictionary& params);

  /// A task for the share of that model, which it takes over.
  static std::shared_ptr<ZRShareTaskRunner> initWithdowloadModel(std::shared_ptr<ZRShareDownloadModel> model);

  /// A task without a model; for rows that are loaded.
  ZRShareTaskRunner() = default;

  // ZRShareTaskRunner.cpp
  void resume() override;
  void syncToDBWithShareParams(const ZRDictionary& params) override;
  std::optional<ZRDictionary> videoInfoDic() const override;
  std::optional<ZRTaskList> filtedSameAlbumTasks(const ZRTaskList& tasks) const override;
  std::string taskId() const override;

  /// Null for a task whose row holds none that can be read; all that follows from it is absent then.
  const std::shared_ptr<ZRShareDownloadModel>& shareDownloadModel() const noexcept { return shareDownloadModel_; }
  const std::optional<std::string>& vid() const noexcept { return model().vid(); }
  const std::optional<std::string>& aid() const noexcept { return model().albumId(); }
  const std::optional<std::string>& videoName() const noexcept { return model().videoName(); }

  /// The device's latest answer; null before the first one.
  const std::shared_ptr<const ZRShareVideoDetail>& videoDetail() const noexcept { return videoDetail_; }

  // ZRShareTaskRunner+FileManager.cpp: paths. There is none for a name that leads out of the task's folder, nor for a
  // cover that would meet the video.

  /// Empty when the ids name no folder; nothing can be stored for such a task.
  std::string videoSaveDir() const override;
  std::optional<std::string> videoSavePath() const;
  std::optional<std::string> coverFilePath() const;
  std::optional<std::string> savePathWithName(const std::optional<std::string>& name) const;

  /// Relative to the share base folder.
  std::optional<std::string> localRelativeFilePath() const override;
  std::optional<std::string> localFullFilePath() const override;

  // ZRShareTaskRunner+ORM.cpp
  static const ZRTaskTable& taskTable();
  static constexpr ZRSharePhase kFinishedPhase = ZRSharePhase::SharePhaseFinished;
  static constexpr const char* kLoadedLogFormat = "share:%lu/%lu";

  /// Nothing also for a task that lacks one of its ids: no row could be found by them.
  std::optional<std::string> queryPrimaryKeySQL() const override;
  static std::span<const ZRField<ZRShareTaskRunner>> fields();

 private:
  using TextCompletion = std::function<void(const std::optional<std::string>& text)>;
  using SubtitlesCompletion = std::function<void()>;

  /// An index above that of every subtitle.
  static constexpr std::int64_t kNoSubtitle = std::numeric_limits<std::int64_t>::max();

  // ZRShareTaskRunner.cpp
  void startPhase() override;
  std::int64_t toldSize() const override { return model().fileSize(); }
  const ZRShareDownloadModel& model() const noexcept;
  void finishDownload();

  // ZRShareTaskRunner+FileManager.cpp
  std::optional<std::string> _fileDir() const;
  std::optional<std::string> _localRelativeShareFilePath() const;
  std::optional<std::string> _localFullShareFilePath() const;
  bool makeRoomForFile(const std::string& path) const;

  // ZRShareTaskRunner+Network.cpp: finding the device.
  void requestShareVideoInfo();
  void fetchShareUrl(std::function<void(const std::string& shareUrl)> completion);
  void requestShareVideoWithShareUrl(const std::string& shareUrl);
  void fetchHostWithShareUrl(const std::string& shareUrl, TextCompletion completion);
  void pingLanHost(const std::optional<std::string>& baseUrl, TextCompletion completion);
  void requestShareVideoDetail();
  void detailEnded(const SCNetworkApiResponseProtocol& response);
  void detailFailed(const ZRError& error, int httpStatus);

  // ZRShareTaskRunner+Network.cpp: the downloads.
  void downloadCoverImg();
  void downloadSubtitles();
  void downloadSubtitlesWithIndex(std::int64_t index, SubtitlesCompletion completion);
  std::int64_t subtitleFrom(std::int64_t index) const;
  void requestSubtitle(const std::string& url, const std::string& path, std::int64_t index,
                       SubtitlesCompletion completion);
  void subtitleEnded(const SCNetworkApiResponseProtocol& response, std::int64_t index,
                     const SubtitlesCompletion& completion);
  void downloadShareVideo();
  void requestVideo(const std::string& url, const std::string& path);
  void videoEnded(const SCNetworkApiResponseProtocol& response);

  // ZRShareTaskRunner+Network.cpp: requests and errors.
  void startUnrecorded(const std::shared_ptr<SCNetworkBaseApi>& request);
  void handleCannotFindShareURLErr();

  /// Asks for the detail again, which is a retry; false when none is left, or too many returns brought nothing new.
  [[nodiscard]] bool returnToDetail();
  void refuseName();

  // What the row keeps, besides `downloadedBytes_`.
  std::shared_ptr<ZRShareDownloadModel> shareDownloadModel_;

  // What lives while the process runs.
  std::shared_ptr<const ZRShareVideoDetail> videoDetail_;
  std::weak_ptr<SCNetworkBaseApi> coverReq_;  // expires when the cover's request has ended
  std::uint64_t furthestByte_ = 0;            // of the video

  // What bounds the tries; filled again when the task is resumed.
  ZRRetryBudget detailReturns_;  // to the detail, since a new byte of the video or another subtitle came
  std::int64_t subtitlesGivenUpFrom_ = kNoSubtitle;
};
