#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ZRDownloadManager.h"
#include "ZRDownloadTask.h"
#include "ZRValue.h"

/// A task whose runner only notes what is asked of it, and does inside its start what it is told to.
class ProbeTask final : public ZRDownloadTask {
 public:
  explicit ProbeTask(std::string name, std::int64_t album = 0) : name_(std::move(name)), album_(album) {}

  using ZRDownloadTask::resetSpeedTimer;
  using ZRDownloadTask::setTaskState;
  using ZRDownloadTask::updateTaskStateIvar;

  std::optional<ZRDictionary> videoInfoDic() const override { return ZRDictionary{{"version", 21}}; }
  bool existInDB() override { return stored_; }
  void insert2DBWithCompletion(const std::function<void(bool)>& completion) override {
    stored_ = !refuseInsert;
    completion(stored_);
  }
  void preloadVideoInfoIfNeed() override { ++preloads; }
  void syncStateToDB() override { ++syncs; }
  void taskStateWasSet() override { ++stateSets; }
  void forceError(const ZRError& error) override {
    setErr(error);
    setTaskState(ZRTaskState::Errored);
  }
  void resume() override {
    ZRDownloadTask::resume();
    if (onResume) onResume();
  }
  void switch2Finish() override { setTaskState(ZRTaskState::Finished); }
  void switch2Wait() override { setTaskState(ZRTaskState::Waiting); }
  void switch2Pause() override { setTaskState(ZRTaskState::Paused); }
  void cleanDownloadFiles() override { ++cleans; }
  std::optional<ZRTaskList> filtedSameAlbumTasks(const ZRTaskList& tasks) const override {
    ZRTaskList same;
    for (const auto& task : tasks) {
      const auto probe = std::dynamic_pointer_cast<ProbeTask>(task);
      if (album_ != 0 && probe && probe->album_ == album_) same.push_back(task);
    }
    return same;
  }
  std::string taskId() const override { return name_; }
  std::optional<std::string> localRelativeFilePath() const override { return name_ + ".mp4"; }
  std::optional<std::string> localFullFilePath() const override { return "/full/" + name_ + ".mp4"; }
  std::string description() const override { return name_; }

  bool refuseInsert = false;
  std::function<void()> onResume;  // inside the task's start
  int preloads = 0;
  int syncs = 0;
  int stateSets = 0;
  int cleans = 0;

 private:
  std::string name_;
  std::int64_t album_;
  bool stored_ = false;
};
