#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "ZRDownloadDataBaseProtocol.h"
#include "ZRTestExport.h"
#include "ZRTicketLock.h"

/// The library's one SQLite file, "zrdownloadkit.db" in the download folder. Made and owned by the manager, shared with
/// every task. Any thread.
///
/// The file is kept in write-ahead mode with relaxed syncing: a crash of the process loses nothing, a power cut at most
/// the last writes, and the file stays whole. Without an open file every operation does nothing and says false.
///
/// A row may reach the disk at any time, by a checkpoint or by the kernel, so none is written that must not be believed
/// after a power cut: a row says "finished" once the task's files are durable (`ZRFolderSync`), and one of a task under
/// way is measured against its files when it is loaded. Checkpoints therefore need no order of their own, and most are
/// left to the disk's queue (`ZRCheckpoints`), so that a write waits for no disk.
class ZR_TEST_EXPORT ZRDownloadDataBase final : public ZRDownloadDataBaseProtocol {
 public:
  /// Opens the file, which is made when missing. A file that is no database is left as it is and counts as one that
  /// cannot be opened; so does one that can only be read.
  ZRDownloadDataBase();

  /// Waits for the work on the disk's queue, then closes the file.
  ~ZRDownloadDataBase() override;

  static std::string filePath();

  /// Brings the rows written so far to the disk, those of the file at `path`. Any thread; waits for the disk.
  static void makeDurable(const std::string& path);

  bool isOpen() const noexcept { return connection_ != nullptr; }

  bool tableExists(std::string_view name) override;
  bool executeUpdate(std::string_view sql) override;
  bool executeBatchUpdate(const std::vector<std::string>& statements) override;
  bool executeTogether(const std::vector<std::string>& statements) override;
  void executeQuery(std::string_view sql, const QueryCompletion& completion) override;

 private:
  class Connection;

  // Takes the connection for one unit of work; no lock when there is none to take, or when this thread already has it
  // (a completion that calls the store).
  class Turn;

  std::unique_ptr<Connection> connection_;  // set once
  ZRTicketLock lock_;
  std::atomic<std::thread::id> holder_{};
};
