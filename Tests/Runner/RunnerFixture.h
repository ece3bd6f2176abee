#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "DiskProbe.h"
#include "LibraryFixture.h"
#include "LoopbackOrigin.h"
#include "ZRDownloadDataBase.h"

namespace fs = std::filesystem;

/// What the tests of the three runners share: a look into the store, and the ends that a task comes to.
class RunnerFixture : public LibraryFixture {
 protected:
  /// The first value of a query as text.
  static std::string queried(const std::string& sql) {
    std::string text = "no row";
    manager()->db()->executeQuery(sql, [&text](ZRResultSet* rows) {
      if (rows != nullptr && rows->next()) text = rows->textForColumnIndex(0).value_or("NULL");
    });
    return text;
  }

  static bool update(const std::string& sql) { return manager()->db()->executeUpdate(sql); }

  template <class Runner>
  static std::shared_ptr<Runner> addTaskOf(const ZRDictionary& params) {
    const auto task = Runner::taskWithParams(params);
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
    return task;
  }

  /// Parameters that make no task and one record.
  template <class Runner>
  void expectRefused(const ZRDictionary& params, const char* message) {
    log_.clear();
    EXPECT_EQ(Runner::taskWithParams(params), nullptr);
    EXPECT_EQ(log_, std::vector<LogLine>({{2, message}}));
  }

  template <class Runner>
  static std::shared_ptr<Runner> unfinishedOf(std::size_t at = 0) {
    return std::dynamic_pointer_cast<Runner>(manager()->allUnFinishTaskArr().at(at));
  }

  /// Runs the loop until the task has finished. What does not come in time ends the test.
  template <class Task>
  std::shared_ptr<Task> finished(std::shared_ptr<Task> task) {
    if (!runUntil([&task] { return task->isFinished(); })) throw std::runtime_error(task->description() + " goes on");
    EXPECT_TRUE(disk_.takeSynced().contains(task->videoSaveDir())) << "a power cut would leave it without its files";
    EXPECT_FALSE(
        fs::exists(task->videoSaveDir() + "/." + fs::path(*task->localFullFilePath()).filename().string() + ".resume"));
    return task;
  }

  /// Runs the loop until the task has failed, which must be with `error`.
  template <class Task>
  std::shared_ptr<Task> failed(std::shared_ptr<Task> task, const ZRError& error) {
    if (!runUntil([&task] { return task->isErrored(); })) throw std::runtime_error("no " + error.description());
    EXPECT_EQ(task->err(), error);
    return task;
  }

  /// Answers with the first `sent` of `bytes`, waits for `gate_`, sends up to `end` of them and closes.
  void serveInTwo(LoopbackOrigin& origin, const std::string& path, const std::string& bytes, std::size_t sent,
                  std::size_t end = std::string::npos) {
    origin.route(path, [=, this](const OriginRequest&, OriginConnection& out) {
      out.send(OriginConnection::head(bytes.size()) + bytes.substr(0, sent));
      out.wait(gate_);
      out.send(bytes.substr(sent, end - sent));
      out.close();
    });
  }

  /// Answers nothing, and counts in `ended_` the connections that the library ends.
  void serveUntilEnded(LoopbackOrigin& origin, const std::string& path) {
    origin.route(path, [this](const OriginRequest&, OriginConnection& out) {
      out.stall();
      ++ended_;
      loop_->post([] {});
    });
  }

  static void fillDisk() { setFreeBytes(std::uint64_t{1} << 30); }

  DiskProbe disk_;
  OriginGate gate_;  // outlives the origins, whose threads wait for it
  std::atomic<int> ended_ = 0;
  const ZRError diskFull_{ZRErrorCode::DiskFull, "磁盘空间不足"};
  const ZRError connectionLost_{ZRErrorCode::ConnectionLost, "失去网络连接"};
  const ZRError unreachable_{ZRErrorCode::CannotReachServer, "无法连接到服务器"};
};
