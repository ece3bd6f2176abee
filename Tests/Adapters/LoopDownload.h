#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "LibraryFixture.h"
#include "LoopbackOrigin.h"
#include "ZRDownloadTask.h"

/// A host with a loop of its own that downloads one film from a real server.
class LoopDownload : public LibraryFixture {
 protected:
  LoopDownload() { origin_.serveFile("/film.mp4", {.bytes = film_, .etag = "\"1\""}); }

  /// Makes `loop` the library's and begins the download; `ended` is called when it is done.
  /// The host answers on a thread of its own, as one does that asks its site.
  void begin(std::shared_ptr<ZRRunLoop> loop, std::function<void()> ended) {
    ZRRunLoop::setMain(std::move(loop));
    manager()->setup(
        options({{"fetch_73Info_Handler", ZRFetch73InfoHandler([this](const ZRDictionary&, ZRReplyCompletion reply) {
                    const ZRDictionary info{{"title", "A film"}, {"url", origin_.url("/film.mp4")}};
                    site_ = std::jthread([reply = std::move(reply), info] { reply(info, std::nullopt); });
                  })}}));
    finished_ = ZRNotificationCenter::defaultCenter().addObserver(
        kZRDownloadTaskFinishedNotifi, [ended = std::move(ended)](const ZRNotification&) { ended(); });
    task_ = ZRDownloadTask::taskWith73Params({{"vid", 42}, {"version", 2}});
    ASSERT_EQ(manager()->addTask(task_), ZRAddTaskResult::Added);
  }

  void expectFilm() const {
    EXPECT_TRUE(task_->isFinished());
    EXPECT_TRUE(readFile(task_->localFullFilePath().value_or("")) == film_) << "not the film that was sent";
  }

  const std::string film_ = patternBytes(3'000'000);
  LoopbackOrigin origin_;
  std::jthread site_;
  ZRNotificationCenter::Token finished_;
  std::shared_ptr<ZRDownloadTask> task_;
};
