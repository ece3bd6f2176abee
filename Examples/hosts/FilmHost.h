#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <iostream>
#include <string>
#include <utility>

#include "ZRDownloadKit.h"

/// What a host of one film does on any toolkit: it adds the film, or goes on with it, and prints what it is told. It
/// has no timer and reads no log record. Made after `ZRRunLoop::setMain`, on the loop's thread.
class FilmHost final {
 public:
  /// Called on the loop with the exit status when the film is there, or nothing more comes.
  using End = std::function<void(int status)>;

  FilmHost(const std::string& url, std::int64_t bytes, End end) : end_(std::move(end)) {
    const auto film = [=](const ZRDictionary&, const ZRReplyCompletion& reply) {
      reply(ZRDictionary{{"title", "A film"}, {"url", url}, {"fileSize", bytes}}, std::nullopt);
    };
    ZRDownloadManager::sharedManager()->setup({kZROptionFetch73InfoHandler = film});
    listen(kZRDownloadTaskStateChangedNotifi, &FilmHost::showState);
    listen(kZRDownloadTaskErrorNotifi, &FilmHost::showFailure);
    ZRRunLoop::main()->post([this] { start(); });  // once the loop runs, so that it can be ended
  }

  ~FilmHost() {
    for (ZRNotificationCenter::Token& token : tokens_) token.reset();
    ZRDownloadManager::shutdown();  // keeps what is there for the next run
  }

  FilmHost(const FilmHost&) = delete;
  FilmHost& operator=(const FilmHost&) = delete;

 private:
  void listen(const char* name, void (FilmHost::*show)(const ZRDownloadTask&)) {
    tokens_[used_++] = ZRNotificationCenter::defaultCenter().addObserver(
        name, [this, show](const ZRNotification& told) { (this->*show)(*told.objectAs<ZRDownloadTask>()); });
  }

  void start() {
    const auto manager = ZRDownloadManager::sharedManager();
    const auto task = ZRDownloadTask::taskWith73Params({{kZRParamVid, 42}, {kZRParamVersion, 2}});
    if (manager->addTask(task) == ZRAddTaskResult::Refused) return end_(1);
    manager->starTasks(manager->allUnFinishTaskArr());  // of an earlier run; a new one runs already
    for (const auto& film : manager->allFinishedTaskArr()) showState(*film);
  }

  void showState(const ZRDownloadTask& task) {
    static constexpr std::array kStates{"paused", "waiting", "executing", "errored", "finished"};
    std::cout << kStates.at(static_cast<std::size_t>(task.taskState())) << ", " << task.receivedBytes() << " of "
              << task.expectedBytes() << " bytes" << std::endl;
    if (!task.isFinished()) return;
    std::cout << "play " << *task.localFullFilePath() << std::endl;
    end_(0);
  }

  /// Also of an error that leaves the task Executing, as a 403 does.
  void showFailure(const ZRDownloadTask& task) {
    const ZRError& failure = task.lastFailure().value();
    std::cout << "failed: " << failure.userInfo()[kZRErrorReasonKey].textValue().value_or("") << ' ' << failure.code()
              << std::endl;
    end_(1);
  }

  const End end_;
  std::array<ZRNotificationCenter::Token, 2> tokens_;
  std::size_t used_ = 0;
};
