#pragma once

#include <optional>
#include <string>

#include "ZRError.h"

/// Brings a task's folder to the disk itself before its row says "finished": a file that was written and closed may be
/// empty after a power cut, half a minute later still, and the row that speaks of it may not.
///
/// Done once, at a task's end, for everything at once: to wait for the disk between two segments would cost more than
/// to fetch them. Rows of tasks that are under way may therefore be ahead of their files; a task that is loaded
/// measures its files before it goes on (`ZRTaskRunner::filesAreKnown_`).
///
/// Any thread; the calls wait for the disk, so the host's loop leaves them to `ZRBackgroundQueue::disk`.
class ZRFolderSync final {
 public:
  /// So many files are synced one by one. More of them cost less as one sync of their file system, where there is one.
  static constexpr std::size_t kFewFiles = 12;

  /// Makes `folder`, everything in it and the way to it durable. A file that cannot be counts as not written (the
  /// kernel has dropped its pages) and is deleted; the error is a `ResourceUnusable` with the reason "fileSync", or a
  /// `DiskFull`.
  [[nodiscard]] static std::optional<ZRError> makeDurable(const std::string& folder);

  /// Makes one file and its name durable, for what may arrive after the task's end; one that cannot be is deleted.
  static void makeFileDurable(const std::string& path);

  /// Makes names that came or went in `folder` durable.
  static void syncNames(const std::string& folder);
};
