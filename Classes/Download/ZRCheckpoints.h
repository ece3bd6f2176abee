#pragma once

#include <atomic>
#include <memory>
#include <string>

struct sqlite3;

/// Moves the write-ahead log's pages into the store's file, on the disk's queue and over a connection of its own: that
/// waits for the disk three times, and a row may be written on the thread that draws the host's windows. Owned by the
/// store's connection, in SQLite's own place. Called by whoever has the connection.
class ZRCheckpoints final {
 public:
  /// `connection` is to the file at `path`, which other connections can open. It is used no more once this has gone.
  ZRCheckpoints(sqlite3* connection, std::string path);
  ZRCheckpoints(const ZRCheckpoints&) = delete;
  ZRCheckpoints& operator=(const ZRCheckpoints&) = delete;

 private:
  static int committed(void* checkpoints, sqlite3* connection, const char* schema, int pages);
  void start() noexcept;

  const std::string path_;
  int movedAt_ = 0;  // the log's pages when it was last begun to be moved
  // Also where `movedAt_` would allow it, a slow disk is not asked again before it is done.
  const std::shared_ptr<std::atomic<bool>> underWay_ = std::make_shared<std::atomic<bool>>(false);
};
