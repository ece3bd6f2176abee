#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Deletes task folders without getting in the way of a task that is added again at once.
///
/// A folder is renamed inside its parent right away, so that its old path is free, and deleted on the background queue,
/// once the store's file holds on the disk that its row is gone: after a power cut no row speaks of deleted files. A
/// power cut may bring a row back whose folder is aside; the next setup then puts the folder back, too. Any thread.
class ZRRemovedFolders final {
 public:
  /// How the name of a folder that is on its way out begins. No folder that is to stay may be named so.
  static constexpr std::string_view kPrefix = ".removing-";

  /// The word that a folder is about to go: from before its row is deleted until it is deleted itself, so that whatever
  /// ends the process in between, the next setup knows of it. A symbolic link to the folder, named after the folder's
  /// inode: one that takes its place later is not meant. It lies beside the database or, for a share, beside the
  /// albums: on one file system with the folder, so that the disk learns of it first. Where none can be made, such an
  /// end may cost the folder's space.
  class Note final {
   public:
    explicit Note(std::string folder);

    /// Drops the note unless the folder has been moved aside.
    ~Note();
    Note(const Note&) = delete;
    Note& operator=(const Note&) = delete;

   private:
    const std::string folder_;
  };

  /// Moves `folder` aside and deletes it, and the note of it, later; failures are ignored, and an empty path is none.
  static void remove(const std::string& folder);

  /// The notes that are there: of processes that ended too early, or that are removing right now.
  static std::vector<std::filesystem::path> notes();

  /// Ends what the notes speak of. A folder that a row still claims stays, and comes back where it is aside; every
  /// other one goes. Nobody may write to the store meanwhile.
  static void settle(const std::vector<std::filesystem::path>& notes,
                     const std::function<bool(const std::string& folder)>& isClaimed);

  /// Deletes, on the background queue, what a process that ended too early left behind in the download folders, but for
  /// what a note speaks of.
  static void sweep();
};
