#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Deletes task folders without getting in the way of a task that is added again at once.
///
/// A folder is renamed inside its parent right away, so that its old path is free, and deleted on the background queue,
/// once the store's file holds on the disk that its row is gone: after a power cut no row speaks of deleted files. Any
/// thread.
class ZRRemovedFolders final {
 public:
  /// How the name of a folder that is on its way out begins. No folder that is to stay may be named so.
  static constexpr std::string_view kPrefix = ".removing-";

  /// The word that a folder is about to go: from before its row is deleted until it is moved aside, so that a process
  /// that ends in between leaves no folder that nothing speaks of. A symbolic link to the folder, beside the database,
  /// named after the folder's inode: one that takes its place later is not meant. Where none can be made, such an end
  /// costs the folder's space.
  class Note final {
   public:
    explicit Note(const std::string& folder);
    ~Note();
    Note(const Note&) = delete;
    Note& operator=(const Note&) = delete;

   private:
    std::filesystem::path link_;
  };

  /// Moves `folder` aside and deletes it later; failures are ignored, and an empty path is none.
  static void remove(const std::string& folder);

  /// The notes that are there: of processes that ended too early, or that are removing right now.
  static std::vector<std::filesystem::path> notes();

  /// Removes the folders that the notes name, but for those that a row still claims, and drops the notes. Nobody may
  /// write to the store meanwhile.
  static void settle(const std::vector<std::filesystem::path>& notes,
                     const std::function<bool(const std::string& folder)>& isClaimed);

  /// Deletes, on the background queue, what a process that ended too early left behind in the download folders.
  static void sweep();
};
