#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <memory>
#include <vector>

#include "AdapterContract.h"
#include "LoopDownload.h"
#include "ZRQtRunLoop.h"

namespace {

int argumentCount = 1;
char programName[] = "QtTests";
char* arguments[] = {programName, nullptr};

}  // namespace

class QtHost final : public LoopHost {
 public:
  explicit QtHost(std::unique_ptr<QCoreApplication> app)
      : LoopHost(std::make_shared<ZRQtRunLoop>()), app_(std::move(app)) {}
  ~QtHost() override { loop.reset(); }

  bool iterate() override { return QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents); }
  void settle() override {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

 private:
  void enter() override {
    QEventLoop events;
    QTimer::singleShot(kLimit, &events, &QEventLoop::quit);
    running_.push_back(&events);
    events.exec();
    running_.pop_back();
  }
  void leave() override { running_.back()->quit(); }

  const std::unique_ptr<QCoreApplication> app_;
  std::vector<QEventLoop*> running_;
};

/// Qt has two event dispatchers here: one on GLib, which desktops use, and its own.
std::unique_ptr<LoopHost> makeHost(const std::string& name) {
  if (name == "onItsOwn") qputenv("QT_NO_GLIB", "1");
  auto app = std::make_unique<QCoreApplication>(argumentCount, arguments);
  qunsetenv("QT_NO_GLIB");
  return std::make_unique<QtHost>(std::move(app));
}

INSTANTIATE_TEST_SUITE_P(Qt, RunLoopContract, testing::Values("onGLib", "onItsOwn"));
INSTANTIATE_TEST_SUITE_P(Qt, AdapterContract, testing::Values("onGLib", "onItsOwn"));
INSTANTIATE_TEST_SUITE_P(Qt, LoopDownload, testing::Values("onGLib", "onItsOwn"));

class ZRQtRunLoopTest : public LoopDownload {};

TEST_F(ZRQtRunLoopTest, theLibraryMayOutliveTheApplication) {
  origin_.route("/film.mp4", [this](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
    out.wait(gate_);
    out.send("67890");
  });
  std::unique_ptr<LoopHost> host = makeHost("onGLib");
  const std::shared_ptr<ZRRunLoop> loop = host->loop;
  begin(loop, [] {});
  const std::jthread watcher([&] {
    origin_.waitForRequests(1);
    loop->post([&host] { host->quit(); });
  });
  EXPECT_TRUE(host->run());
  host.reset();

  const auto ran = std::make_shared<bool>(false);
  std::thread([&] { loop->post([ran] { *ran = true; }); }).join();
  gate_.open();
  EXPECT_TRUE(task_->isExecuting());
  ZRDownloadManager::shutdown();
  EXPECT_TRUE(task_->isPaused());
  EXPECT_FALSE(*ran);
}

TEST(ZRQtRunLoop, mayBeMadeBeforeTheApplication) {
  QtHost host(nullptr);
  host.loop->post([&host] { host.quit(); });
  QCoreApplication app(argumentCount, arguments);
  EXPECT_TRUE(host.run());
}

TEST(ZRQtRunLoop, aNestedLoopThatEndsEarlyLosesNothing) {
  const auto host = makeHost("onItsOwn");
  host->loop->post([&host] {
    host->loop->postDelayed(1h, [] {});
    QEventLoop dialog;
    QMetaObject::invokeMethod(&dialog, &QEventLoop::quit, Qt::QueuedConnection);
    dialog.exec();
  });
  host->comesToRest();
  bool ran = false;
  host->loop->post([&ran] { ran = true; });
  host->comesToRest();
  EXPECT_TRUE(ran);
}

TEST(ZRQtRunLoop, aWorkersLoopIsItsOwn) {
  QCoreApplication app(argumentCount, arguments);
  std::thread([] {
    QtHost host(nullptr);
    host.loop->postDelayed(1ms, [&host] {
      EXPECT_TRUE(host.loop->isLoopThread());
      host.quit();
    });
    EXPECT_TRUE(host.run());
  }).join();
}
