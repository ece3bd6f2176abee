#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QSignalSpy>
#include <memory>

#include "DownloadModel.h"
#include "LibraryFixture.h"
#include "LoopbackOrigin.h"
#include "WaitUntil.h"
#include "ZRQtRunLoop.h"

using player::Download;
using player::DownloadModel;

namespace {

int argumentCount = 1;
char programName[] = "PlayerTests";
char* arguments[] = {programName, nullptr};

/// A Qt host with films at "/1.mp4", "/2.mp4", … of an origin; the site knows none above `known_`.
class DownloadModelTest : public LibraryFixture {
 protected:
  DownloadModelTest() {
    ZRRunLoop::setMain(std::make_shared<ZRQtRunLoop>());
    manager()->setup(options(
        {{"fetch_73Info_Handler", ZRFetch73InfoHandler([this](const ZRDictionary& request, ZRReplyCompletion reply) {
            const auto vid = request["vid"].int64Value();
            const std::string name = std::to_string(vid);
            reply(vid > known_ ? ZRDictionary{{"title", "Film " + name}}
                               : ZRDictionary{{"title", "Film " + name},
                                              {"cover", "http://cover"},
                                              {"fileSize", film_.size()},
                                              {"url", origin_.url("/" + name + ".mp4")}},
                  std::nullopt);
          })}}));
    for (const char* const path : {"/1.mp4", "/2.mp4"}) origin_.serveFile(path, {.bytes = film_});
    makeModel();
  }

  ~DownloadModelTest() override {
    model_.reset();
    ZRDownloadManager::shutdown();  // while there is an application
  }

  void makeModel() {
    model_ = std::make_unique<DownloadModel>(*manager());
    // Fails the test when a signal and the rows do not fit.
    new QAbstractItemModelTester(model_.get(), QAbstractItemModelTester::FailureReportingMode::Fatal, model_.get());
  }

  static std::shared_ptr<ZRDownloadTask> add(std::int64_t vid) {
    const auto task = ZRDownloadTask::taskWith73Params({{"vid", vid}, {"version", 1}});
    EXPECT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
    return task;
  }

  std::vector<std::string> titles() const {
    std::vector<std::string> titles;
    for (int row = 0; row < model_->rowCount(); ++row) titles.push_back(model_->at(row).title.toStdString());
    return titles;
  }

  using Titles = std::vector<std::string>;

  QCoreApplication app_{argumentCount, arguments};
  OriginGate gate_;
  const std::string film_ = patternBytes(200'000);
  std::int64_t known_ = 2;
  LoopbackOrigin origin_;
  std::unique_ptr<DownloadModel> model_;
};

}  // namespace

TEST_F(DownloadModelTest, rowsKeepTheirPlacesWhileTasksComeEndAndGo) {
  origin_.route("/1.mp4", [this](const OriginRequest& request, OriginConnection& out) {
    out.wait(gate_);
    out.respondFile(request, {.bytes = film_});
  });
  const auto slow = add(1);
  const auto quick = add(2);
  ASSERT_TRUE(waitUntil([&] { return model_->rowCount() == 2 && model_->at(1).isFinished(); }));
  EXPECT_EQ(titles(), (Titles{"Film 1", "Film 2"}));
  EXPECT_TRUE(model_->at(0).isRunning());
  EXPECT_EQ(model_->at(1).playablePath.toStdString(), quick->localFullFilePath());
  EXPECT_EQ(model_->at(1).size, static_cast<qint64>(film_.size()));
  EXPECT_EQ(model_->at(1).cover, "http://cover");

  gate_.open();
  ASSERT_TRUE(waitUntil([&] { return model_->at(0).isFinished(); }));
  EXPECT_EQ(titles(), (Titles{"Film 1", "Film 2"}));
  EXPECT_EQ(model_->rowOf("73-2"), 1);

  manager()->removeTask(slow);
  model_->refresh();
  EXPECT_EQ(titles(), (Titles{"Film 2"}));
  EXPECT_EQ(model_->rowOf("73-1"), -1);
}

TEST_F(DownloadModelTest, storedTasksAreThereAtTheStart) {
  known_ = 0;
  manager()->setMaxConcurrentOperationCount(0);
  for (const int vid : {1, 2}) add(vid);
  model_.reset();
  restart();
  makeModel();
  EXPECT_EQ(titles(), (Titles{"Film 1", "Film 2"}));
  EXPECT_EQ(model_->at(0).state, ZRTaskState::Paused);
}

TEST_F(DownloadModelTest, aFailureIsToldInTheLibrarysWords) {
  add(3);
  ASSERT_TRUE(waitUntil([&] { return model_->rowCount() == 1 && model_->at(0).isFailed(); }));
  EXPECT_EQ(model_->at(0).message, QStringLiteral("找不到MP4下载地址"));
  EXPECT_EQ(model_->index(0).data(Qt::ToolTipRole).toString(), QStringLiteral("<p>找不到MP4下载地址</p>"));
  EXPECT_EQ(model_->index(0).data(Qt::AccessibleTextRole).toString(),
            QStringLiteral("Film 3, Failed, 找不到MP4下载地址"));
}

TEST_F(DownloadModelTest, aRowChangesOnlyWhenItsTaskDoes) {
  origin_.route("/1.mp4", [this](const OriginRequest&, OriginConnection& out) { out.wait(gate_); });
  const auto task = add(1);
  ASSERT_TRUE(waitUntil([&] { return model_->rowCount() == 1 && origin_.requests().size() == 1; }));
  model_->refresh();
  const QSignalSpy changes(model_.get(), &DownloadModel::dataChanged);
  model_->refresh();
  EXPECT_EQ(changes.count(), 0);
  manager()->pauseTask(task);
  model_->refresh();
  EXPECT_EQ(changes.count(), 1);
  EXPECT_EQ(model_->at(0).state, ZRTaskState::Paused);
}
