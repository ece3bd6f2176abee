#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "LibraryFixture.h"
#include "LoopbackOrigin.h"
#include "RunLoopContract.h"
#include "ZRDownloadTask.h"

/// A host with a loop of its own that downloads one film from a real server.
class LoopDownload : public LibraryFixture, public testing::WithParamInterface<std::string> {
 protected:
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

  OriginGate gate_;
  LoopbackOrigin origin_;
  std::jthread site_;
  ZRNotificationCenter::Token finished_;
  std::shared_ptr<ZRDownloadTask> task_;
};

TEST_P(LoopDownload, bringsAFilm) {
  const std::string film = patternBytes(3'000'000);
  origin_.serveFile("/film.mp4", {.bytes = film, .etag = "\"1\""});
  const auto host = makeHost(GetParam());
  begin(host->loop, [&host] { host->quit(); });
  EXPECT_TRUE(host->run());
  EXPECT_TRUE(task_->isFinished());
  EXPECT_TRUE(readFile(task_->localFullFilePath().value_or("")) == film) << "not the film that was sent";
  ZRDownloadManager::shutdown();  // while there is the toolkit
  ZRRunLoop::setMain(nullptr);
}
