#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "ZRDictionary.h"
#include "ZRField.h"
#include "ZRObject.h"

/// What a share is known by: who shares it, under which ids and names, and where the device was last found.
///
/// Made from a share's parameters, owned by its task, archived whole into the task's row. Main loop's thread only.
class ZRShareDownloadModel final : public ZRObject {
 public:
  /// Reads the fields from the keys of the same names; a missing key leaves its field empty.
  static std::shared_ptr<ZRShareDownloadModel> modelWithParams(const ZRDictionary& params);

  const std::optional<std::string>& vid() const noexcept { return vid_; }

  /// The site number that marks shares.
  std::int32_t site() const noexcept { return 999; }
  const std::optional<std::string>& albumId() const noexcept { return albumId_; }
  const std::optional<std::string>& albumName() const noexcept { return albumName_; }
  const std::optional<std::string>& deviceName() const noexcept { return deviceName_; }

  /// Also the name of the video's file.
  const std::optional<std::string>& videoName() const noexcept { return videoName_; }

  /// Where the share service tells the device's addresses.
  const std::optional<std::string>& shareUrl() const noexcept { return shareUrl_; }
  void setShareUrl(std::optional<std::string> shareUrl) { shareUrl_ = std::move(shareUrl); }

  /// The device's base URL.
  const std::optional<std::string>& host() const noexcept { return host_; }
  void setHost(std::string host) { host_ = std::move(host); }

  std::int32_t duration() const noexcept { return duration_; }

  /// Bytes of the video; 0 while unknown.
  std::int64_t fileSize() const noexcept { return fileSize_; }
  void setFileSize(std::int64_t fileSize) noexcept { fileSize_ = fileSize; }

  /// The device is reached at `host` alone.
  bool lanOnly() const noexcept { return lanOnly_; }

  /// The record for the host: "title", "duration", "vid", "albumId", "host", "albumName", "fileSize", "site",
  /// "lanOnly", "deviceName", "shareUrl". Absent texts are left out, but without one of `vid`, `albumId`, `host` and
  /// `albumName` there is no record.
  std::optional<ZRDictionary> toDic() const;

  /// In the order of the archive.
  static std::span<const ZRField<ZRShareDownloadModel>> fields();

  /// Sets a field by its name, an absent text included; an unknown name is ignored.
  void setValueForKey(const ZRValue& value, std::string_view name);

  std::string description() const override;

 private:
  std::optional<std::string> vid_;
  std::optional<std::string> albumId_;
  std::optional<std::string> albumName_;
  std::optional<std::string> deviceName_;
  std::optional<std::string> videoName_;
  std::optional<std::string> shareUrl_;
  std::optional<std::string> host_;
  std::int32_t duration_ = 0;
  std::int64_t fileSize_ = 0;
  bool lanOnly_ = false;
};
