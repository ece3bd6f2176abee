#pragma once

#include <array>
#include <string>

/// Where the folders of the library are; makes none, which the operations of `ZRDownloadManager` do. Any thread that
/// may read `ZRHost::current`.
struct ZRBaseFolders {
  /// The application's own folder: (Application Support folder)/(bundle identifier).
  static std::string application();

  /// HLS and MP4 downloads and the database; below `application`.
  static std::string downloads();

  /// Shared videos; below the Movies folder.
  static std::string shares();

  /// The two that tasks have their folders in: `downloads` and `shares`.
  static std::array<std::string, 2> all() { return {downloads(), shares()}; }
};
