#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <chrono>
#include <memory>
#include <vector>

#include "AdapterContract.h"
#include "LoopDownload.h"
#include "ZRQtRunLoop.h"

using namespace std::chrono_literals;

namespace {

int argumentCount = 1;
char programName[] = "QtTests";
char* arguments[] = {programName, nullptr};

/// Qt has two event dispatchers here: one on GLib, which desktops use, and its own.
enum class Dispatcher { GLib, Own };

class QtHost {
 public:
  explicit QtHost(Dispatcher dispatcher) {
    if (dispatcher == Dispatcher::Own) qputenv("QT_NO_GLIB", "1");
    app_ = std::make_unique<QCoreApplication>(argumentCount, arguments);
    qunsetenv("QT_NO_GLIB");
    loop_ = std::make_shared<ZRQtRunLoop>();
  }

  ZRRunLoop& loop() { return *loop_; }
  std::shared_ptr<ZRRunLoop> share() { return loop_; }
  void drop() { loop_.reset(); }
  void quit() { running_.back()->quit(); }
  bool iterate() { return QCoreApplication::eventDispatcher()->processEvents(QEventLoop::AllEvents); }
  void settle() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  bool run() {
    QEventLoop events;
    QTimer limit;
    limit.callOnTimeout(&events, [&events] { events.exit(1); });
    limit.start(20s);
    running_.push_back(&events);
    const bool quitted = events.exec() == 0;
    running_.pop_back();
    return quitted;
  }

 private:
  std::unique_ptr<QCoreApplication> app_;
  std::shared_ptr<ZRQtRunLoop> loop_;
  std::vector<QEventLoop*> running_;
};

class ZRQtRunLoopTest : public LoopDownload {};

}  // namespace

// The names of these types become part of the tests'.
class OnGLib : public QtHost {
 public:
  OnGLib() : QtHost(Dispatcher::GLib) {}
};
class OnItsOwn : public QtHost {
 public:
  OnItsOwn() : QtHost(Dispatcher::Own) {}
};
using QtHosts = testing::Types<OnGLib, OnItsOwn>;
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, RunLoopContract, QtHosts);
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, AdapterContract, QtHosts);

TEST_F(ZRQtRunLoopTest, anApplicationDownloadsAFilm) {
  QCoreApplication app(argumentCount, arguments);
  QTimer::singleShot(60s, &app, [] { QCoreApplication::exit(1); });
  begin(std::make_shared<ZRQtRunLoop>(), [] { QCoreApplication::quit(); });
  EXPECT_EQ(QCoreApplication::exec(), 0);
  expectFilm();
  ZRDownloadManager::shutdown();
}

TEST_F(ZRQtRunLoopTest, theLibraryMayOutliveTheApplication) {
  OriginGate gate;
  LoopbackOrigin slow;
  slow.route("/film.mp4", [&](const OriginRequest&, OriginConnection& out) {
    out.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
    out.wait(gate);
    out.send("67890");
  });
  origin_.redirect("/film.mp4", slow.url("/film.mp4"));
  auto app = std::make_unique<QCoreApplication>(argumentCount, arguments);
  QTimer::singleShot(60s, app.get(), [] { QCoreApplication::exit(1); });
  const auto loop = std::make_shared<ZRQtRunLoop>();
  begin(loop, [] {});
  std::jthread watcher([&] {
    slow.waitForRequests(1);
    loop->post([] { QCoreApplication::quit(); });
  });
  EXPECT_EQ(QCoreApplication::exec(), 0);
  app.reset();

  bool ran = false;
  std::thread([&] { loop->post([&ran] { ran = true; }); }).join();
  gate.open();
  EXPECT_TRUE(task_->isExecuting());
  ZRDownloadManager::shutdown();
  EXPECT_TRUE(task_->isPaused());
  EXPECT_FALSE(ran);
}

TEST(ZRQtRunLoop, mayBeMadeBeforeTheApplication) {
  const auto loop = std::make_shared<ZRQtRunLoop>();
  loop->post([] { QCoreApplication::quit(); });
  QCoreApplication app(argumentCount, arguments);
  QTimer::singleShot(20s, &app, [] { QCoreApplication::exit(1); });
  EXPECT_EQ(QCoreApplication::exec(), 0);
}

TEST(ZRQtRunLoop, aLoopThatEndsBetweenAWakeupAndItsTurnLosesNothing) {
  OnItsOwn host;
  const auto iterateUntilIdle = [&host] {
    for (int pass = 0; pass < 50 && host.iterate(); ++pass) {
    }
  };
  host.loop().post([&host] {
    host.loop().postDelayed(1h, [] {});
    QEventLoop dialog;
    QMetaObject::invokeMethod(&dialog, &QEventLoop::quit, Qt::QueuedConnection);
    dialog.exec();
  });
  iterateUntilIdle();
  bool ran = false;
  host.loop().post([&ran] { ran = true; });
  iterateUntilIdle();
  EXPECT_TRUE(ran);
}

TEST(ZRQtRunLoop, aWorkersLoopIsItsOwn) {
  QCoreApplication app(argumentCount, arguments);
  std::thread([] {
    QEventLoop events;
    ZRQtRunLoop loop;
    bool ran = false;
    loop.postDelayed(1ms, [&] {
      ran = loop.isLoopThread();
      events.quit();
    });
    QTimer::singleShot(20s, &events, &QEventLoop::quit);
    events.exec();
    EXPECT_TRUE(ran);
  }).join();
}
