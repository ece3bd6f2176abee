#pragma once

#include <chrono>
#include <filesystem>

namespace zrdl {

/// Where the library sets aside the folders of removed tasks, which it deletes before the process goes.
struct RemovalFolders {
  std::filesystem::path downloads;  ///< of HLS and MP4 tasks
  std::filesystem::path shares;     ///< of shared videos, a folder for each album in it

  /// Those of the current host.
  static RemovalFolders current();

  /// Whether something there waits to be deleted.
  bool areInUse() const;
};

/// Tells on standard error that folders are still being deleted, if the process has not ended after `patience`. Call it
/// when all else is done.
void explainSlowExit(const RemovalFolders& folders,
                     std::chrono::milliseconds patience = std::chrono::milliseconds(500));

}  // namespace zrdl
