#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ZRBackgroundQueue.h"
#include "ZRClock.h"
#include "ZRDefaultRunLoop.h"
#include "ZRDownloadManager.h"
#include "ZRHost.h"
#include "ZRNotificationCenter.h"
#include "ZRVolume.h"

/// One log record as the host's logger received it.
struct LogLine {
  std::uint64_t level;
  std::string msg;

  friend bool operator==(const LogLine&, const LogLine&) = default;
};

/// A host of the library for one test: a home of its own, a loop, and everything that reached its callbacks.
class LibraryFixture : public ::testing::Test {
 protected:
  LibraryFixture() : loop_(std::make_shared<ZRDefaultRunLoop>()) {
    ZRRunLoop::setMain(loop_);
    ZRHostInfo host = ZRHostInfo::defaults();
    host.bundleIdentifier = "com.example.player";
    host.applicationSupportFolder = home_ / "support";
    host.moviesFolder = home_ / "movies";
    host.homeFolder = home_.path().string();
    ZRHost::setCurrent(host);
    setFreeBytes(std::uint64_t{100} << 30);
  }

  ~LibraryFixture() override {
    ZRDownloadManager::shutdown();
    ZRBackgroundQueue::shared().waitUntilIdle();
    ZRRunLoop::setMain(nullptr);
    ZRVolume::setProbe({});
    ZRClock::setSource({});
  }

  static std::shared_ptr<ZRDownloadManager> manager() { return ZRDownloadManager::sharedManager(); }

  /// The options of a host that listens to everything, with `more` added.
  ZRDictionary options(const ZRDictionary& more = {}) {
    ZRDictionary all{
        {"logger_handler", ZRLoggerHandler([this](const ZRDictionary& record, const ZRValue&) {
           log_.push_back({record["level"].uint64Value(), record["msg"].textValue().value_or("")});
         })},
        {"cc_report_handler",
         ZRReportHandler([this](const ZRDictionary& report, const ZRValue&) { reports_.push_back(report); })},
    };
    for (const auto& [key, value] : more) all.set(key, value);
    return all;
  }

  /// Ends the library and starts it again on the same files, as after a restart of the host.
  void restart(const ZRDictionary& more = {}) {
    ZRDownloadManager::shutdown();
    manager()->setup(options(more));
  }

  /// Runs the loop until `predicate` holds; false when that took too long.
  bool runUntil(const std::function<bool()>& predicate) {
    return loop_->runUntil(predicate, ZRDefaultRunLoop::Clock::now() + std::chrono::seconds(20));
  }

  static void setFreeBytes(std::uint64_t free) {
    ZRVolume::setProbe([free](const std::string&) { return ZRVolume{std::uint64_t{500} << 30, free}; });
  }

  std::vector<std::string> messages(std::uint64_t level) const {
    std::vector<std::string> found;
    for (const LogLine& line : log_) {
      if (line.level == level) found.push_back(line.msg);
    }
    return found;
  }

  bool logged(std::uint64_t level, const std::string& msg) const {
    return std::find(log_.begin(), log_.end(), LogLine{level, msg}) != log_.end();
  }

  std::string downloadFolder() const { return home_ / "support/com.example.player/download"; }

  TemporaryFolder home_;
  std::shared_ptr<ZRDefaultRunLoop> loop_;
  std::vector<LogLine> log_;
  std::vector<ZRDictionary> reports_;
};
