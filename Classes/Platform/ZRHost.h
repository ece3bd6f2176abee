#pragma once

#include <optional>
#include <string>

#include "ZRExport.h"

/// Who the host application is and where its files go. The host fills one in and calls `ZRHost::setCurrent` before
/// `ZRDownloadManager::setup`. Paths are absolute, UTF-8.
struct ZR_EXPORT ZRHostInfo {
  std::string bundleIdentifier;             ///< one path component below `applicationSupportFolder`
  std::optional<std::string> shortVersion;  ///< the application's version as users see it
  std::string applicationSupportFolder;     ///< private files: database, HLS and MP4 downloads
  std::string moviesFolder;                 ///< files the user sees: shared videos
  std::string homeFolder;                   ///< the volume whose free space is checked
  std::string videoInfoBaseURL;             ///< base URL of the video-information service, path included

  // How the library's HTTP client reaches the world; read when the first task needs it.
  std::string proxy;      ///< `HOST:PORT` of an HTTP proxy, or `socks5h://HOST:PORT`, for every request; empty for none
  std::string caFile;     ///< the authorities trusted (PEM), in place of the system's; empty for these
  std::string userAgent;  ///< the User-Agent field; empty for the library's own

  /// The executable's name, no version, the XDG folders (on macOS the platform's own), no service.
  static ZRHostInfo defaults();
};

/// The host application as the library knows it.
class ZR_EXPORT ZRHost {
 public:
  /// What `setCurrent` was told; before, `ZRHostInfo::defaults()`. Any thread.
  static const ZRHostInfo& current();

  /// Says who the host is; before `ZRDownloadManager::setup`, and while no other thread calls the library.
  static void setCurrent(ZRHostInfo info);
};
