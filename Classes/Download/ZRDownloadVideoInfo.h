#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "SCJSONUtil.h"
#include "ZRDictionary.h"
#include "ZRField.h"

/// What the main service knows about one video. The service tells the addresses of every version at once; the record
/// keeps those of the version that was asked for, which is the mapper's reference object.
///
/// Filled by `SCJSONUtil` from the "data" object of a reply, archived whole into the task's row. Whoever made one owns
/// it; once a task has it, it does not change.
class ZRDownloadVideoInfo final : public SCJSONRecord {
 public:
  /// Makes the record known to `SCJSONUtil`; may be called again.
  static void registerModel();

  std::int64_t videoId() const noexcept { return videoId_; }
  void setVideoId(std::int64_t videoId) noexcept { videoId_ = videoId; }

  /// The album's id.
  std::int64_t aid() const noexcept { return aid_; }
  void setAid(std::int64_t aid) noexcept { aid_ = aid; }

  std::int32_t site() const noexcept { return site_; }
  void setSite(std::int32_t site) noexcept { site_ = site; }

  /// The code of quality and codec that was asked for.
  std::int32_t version() const noexcept { return version_; }
  void setVersion(std::int32_t version) noexcept { version_ = version; }

  const std::optional<std::string>& videoName() const noexcept { return videoName_; }

  /// Address of the playlist, or of the one file, of the chosen version.
  const std::optional<std::string>& m3u8Url() const noexcept { return m3u8Url_; }
  const std::optional<std::string>& mp4Url() const noexcept { return mp4Url_; }

  /// Bytes of the chosen version, 17.5 % above what the service says; 0 while unknown.
  std::int64_t totalSize() const noexcept { return totalSize_; }

  /// Address of the picture that holds the preview tiles.
  const std::optional<std::string>& tvPreviewPic() const noexcept { return tvPreviewPic_; }

  /// Whether the video comes as one MP4 file in place of a playlist; follows from the upload's origin.
  bool isShafa() const noexcept { return uploadFrom_ >= 265 && uploadFrom_ <= 268; }

  // The JSON keys that hold the addresses and the size of `version()`; nothing for an unknown code.
  std::optional<std::string_view> m3u8UrlKey() const;
  std::optional<std::string_view> mp4UrlKey() const;
  std::optional<std::string_view> fileSizeKey() const;

  /// The record for the host: "title", "cover", "playOrder", "duration", "vid", "site", "version", "fileSize",
  /// "albumId", "albumName", "cid", "cateCode", "tvPreviewPic", "pvpicW", "pvpicH", "pvpicD", "isShafa". Absent texts
  /// are left out.
  ZRDictionary toDic() const;

  /// The three numbers that a preview picture's name ends in, a tile's width and height first: "…big_160_90_10.jpg".
  /// Nothing when the name has more or fewer.
  static std::optional<std::array<std::int32_t, 3>> previewTiles(std::string_view tvPreviewPic);

  /// In the order of the archive.
  static std::span<const ZRField<ZRDownloadVideoInfo>> fields();

  std::span<const NamePair> sc_collideKeysMap() const override;
  bool sc_unDefinedKey(std::string& key, ZRValue& value, const ZRValue& refObj) override;
  void sc_willFinishConvert(const ZRValue& refObj) override;
  bool setJsonField(std::string_view name, const ZRValue& value) override;
  std::string description() const override;

 private:
  std::int64_t videoId_ = 0;
  std::int64_t aid_ = 0;
  std::int32_t site_ = 0;
  std::int32_t cid_ = 0;
  std::int32_t version_ = 0;
  std::int32_t playOrder_ = 0;
  std::int32_t duration_ = 0;
  std::optional<std::string> videoName_;
  std::optional<std::string> albumName_;
  std::optional<std::string> videoPic_;
  std::optional<std::string> m3u8Url_;
  std::optional<std::string> mp4Url_;
  std::int32_t uploadFrom_ = 0;
  std::optional<std::string> cateCode_;
  std::int64_t totalSize_ = 0;
  std::optional<std::string> tvPreviewPic_;
  std::int32_t pvpicW_ = 0;
  std::int32_t pvpicH_ = 0;
  std::int32_t pvpicD_ = 0;
};
