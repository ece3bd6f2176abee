#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "ZRDictionary.h"
#include "ZRHostCallbacks.h"
#include "ZRValue.h"

/// \file
/// The keys of the dictionaries that a host hands over, so that a mistyped one does not compile.
///
///     manager->setup({kZROptionFetchMkeyHandler = askForKey, kZROptionMaxConcurrentCount = 2});
///     const auto task = ZRDownloadTask::taskWith73Params({{kZRParamVid, 123}, {kZRParamVersion, 2}});

/// The key of an option that takes a `Value`. A callback for another option does not compile in its place.
template <class Value>
struct ZROptionKey final {
  const char* name;  ///< as the options hold it

  /// The entry of the options.
  ZRDictionary::Entry operator=(Value value) const {
    if constexpr (std::is_enum_v<Value>) {
      return {name, ZRValue(static_cast<std::underlying_type_t<Value>>(value))};
    } else {
      return {name, ZRValue(std::move(value))};
    }
  }

  /// The name, for an entry of another form.
  operator std::string() const { return name; }
};

/// The options of `ZRDownloadManager::setup`, explained there.
///@{
inline constexpr ZROptionKey<ZRFetchMkeyHandler> kZROptionFetchMkeyHandler{"fetch_mky_handler"};
inline constexpr ZROptionKey<ZRDecryptionHandler> kZROptionDecryptionHandler{"decryption_handler"};
inline constexpr ZROptionKey<ZRFetch73InfoHandler> kZROptionFetch73InfoHandler{"fetch_73Info_Handler"};
inline constexpr ZROptionKey<ZRLoggerHandler> kZROptionLoggerHandler{"logger_handler"};
inline constexpr ZROptionKey<ZRLogLevel> kZROptionLoggerLevel{"logger_level"};
inline constexpr ZROptionKey<ZRReportHandler> kZROptionReportHandler{"cc_report_handler"};
inline constexpr ZROptionKey<bool> kZROptionIgnoreH265{"ignore_h265"};
inline constexpr ZROptionKey<int> kZROptionMaxConcurrentCount{"max_concurrent_count"};
inline constexpr ZROptionKey<std::int64_t> kZROptionMaxBytesPerSecond{"max_bytes_per_second"};
inline constexpr ZROptionKey<ZRDictionary> kZROptionM3u8CdnParams{"m3u8_cdn_params"};
///@}

/// The parameters of the task factories, explained at `ZRDownloadTask`.
///@{
inline constexpr const char* kZRParamVid = "vid";
inline constexpr const char* kZRParamAid = "aid";
inline constexpr const char* kZRParamSite = "site";
inline constexpr const char* kZRParamVersion = "version";
inline constexpr const char* kZRParamAlbumPic = "albumPic";
inline constexpr const char* kZRParamCover = "cover";
inline constexpr const char* kZRParamAlbumId = "albumId";
inline constexpr const char* kZRParamVideoName = "videoName";
inline constexpr const char* kZRParamShareUrl = "shareUrl";
inline constexpr const char* kZRParamHost = "host";
inline constexpr const char* kZRParamAlbumName = "albumName";
inline constexpr const char* kZRParamDeviceName = "deviceName";
inline constexpr const char* kZRParamFileSize = "fileSize";
inline constexpr const char* kZRParamDuration = "duration";
inline constexpr const char* kZRParamLanOnly = "lanOnly";
///@}
