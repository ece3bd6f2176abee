#pragma once

#include <string>
#include <string_view>

/// Deletes task folders without getting in the way of a task that is added again at once.
///
/// A folder is renamed inside its parent right away, so that its old path is free, and deleted on the background queue,
/// once the store's file holds on the disk that its row is gone: after a power cut no row speaks of deleted files. Any
/// thread.
class ZRRemovedFolders final {
 public:
  /// How the name of a folder that is on its way out begins. No folder that is to stay may be named so.
  static constexpr std::string_view kPrefix = ".removing-";

  /// Moves `folder` aside and deletes it later; failures are ignored.
  static void remove(const std::string& folder);

  /// Deletes, on the background queue, what a process that ended too early left behind in the download folders.
  static void sweep();
};
