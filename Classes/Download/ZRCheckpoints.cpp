#include "ZRCheckpoints.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include "ZRBackgroundQueue.h"

namespace {

/// As many pages as SQLite itself lets come together.
constexpr int kEnoughPages = 1000;

/// The log starts anew at a commit that finds nothing left to move. Where others came while it was moved, it is moved
/// again after so many more.
constexpr int kMorePages = 500;

/// So many come together only where rows are written faster than the disk's queue moves them. Then whoever writes does.
constexpr int kTooManyPages = 4 * kEnoughPages;

/// By a statement, as a new connection does not know of the log before it has read. That readers hold something back is
/// no failure: a later commit moves it.
void moveAllOf(const std::string& path) noexcept {
  try {
    SQLite::Database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX).exec("PRAGMA wal_checkpoint(PASSIVE)");
  } catch (const std::exception&) {
    // a later commit tries again
  }
}

}  // namespace

ZRCheckpoints::ZRCheckpoints(sqlite3* connection, std::string path) : path_(std::move(path)) {
  ::sqlite3_wal_hook(connection, &ZRCheckpoints::committed, this);
}

int ZRCheckpoints::committed(void* checkpoints, sqlite3* connection, const char*, int pages) {
  auto& self = *static_cast<ZRCheckpoints*>(checkpoints);
  if (pages < self.movedAt_) self.movedAt_ = 0;  // the log has started anew
  if (pages >= kTooManyPages) {
    (void)::sqlite3_wal_checkpoint_v2(connection, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  } else if (pages >= std::max(kEnoughPages, self.movedAt_ + kMorePages) && !*self.underWay_) {
    self.movedAt_ = pages;
    self.start();
  }
  return SQLITE_OK;
}

void ZRCheckpoints::start() noexcept {
  *underWay_ = true;
  try {
    ZRBackgroundQueue::disk().post([path = path_, underWay = underWay_] {
      moveAllOf(path);
      *underWay = false;
    });
  } catch (const std::exception&) {  // out of memory; a later commit tries again
    *underWay_ = false;
  }
}
