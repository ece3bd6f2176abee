#pragma once

#include <QMetaObject>
#include <QPointer>
#include <QTimer>
#include <atomic>
#include <memory>
#include <utility>

#include "ZRDefaultRunLoop.h"

/// Qt's event loop as the library's main loop, for hosts with a `QCoreApplication` or one of its kin. Needs Qt 6 Core
/// and no moc.
///
///     QApplication app(argc, argv);
///     ZRRunLoop::setMain(std::make_shared<ZRQtRunLoop>());
///     ZRDownloadManager::sharedManager()->setup(options);
///     const int status = app.exec();
///     ZRDownloadManager::shutdown();
///     return status;
///
/// The loop's thread is the one that makes it, and work runs whenever Qt handles events there: in `exec`, in
/// `processEvents`, and in the nested loop of a dialog that work itself has opened. A turn is one event of Qt's and
/// ends with what was due when it began, so input and painting get their share. An idle loop has no timer and posts no
/// event.
///
/// Work must not throw: an exception ends the process there and does not unwind through Qt.
///
/// Any thread may post, and may hold the last reference: what has not started then is dropped. Work posted when the
/// application object is gone is kept until then, and may run should there be another application object before.
class ZRQtRunLoop final : public ZRRunLoop {
 public:
  ZRQtRunLoop() : queue_(std::make_shared<ZRDefaultRunLoop>()), pump_(new Pump(queue_)) {
    queue_->setWakeup([pump = pump_] { pump->wake(); });
  }

  ~ZRQtRunLoop() override {
    queue_->clear();
    if (queue_->isLoopThread() && !pump_->isRunning()) {
      delete pump_;
    } else {
      pump_->deleteLater();
    }
  }

  ZRQtRunLoop(const ZRQtRunLoop&) = delete;
  ZRQtRunLoop& operator=(const ZRQtRunLoop&) = delete;

  void post(Work work) override { queue_->post(std::move(work)); }
  DelayedId postDelayed(Duration delay, Work work) override { return queue_->postDelayed(delay, std::move(work)); }
  void cancel(DelayedId id) override { queue_->cancel(id); }
  bool isLoopThread() const override { return queue_->isLoopThread(); }

 private:
  /// A timer that runs the queue's turns: at once when something is due, else at the earliest deadline. Loop's thread
  /// only, but for `wake`.
  class Pump final : public QTimer {
   public:
    explicit Pump(std::weak_ptr<ZRDefaultRunLoop> queue) : queue_(std::move(queue)) {
      setTimerType(Qt::PreciseTimer);
      callOnTimeout([this] { run(); });
    }

    void wake() {
      if (woken_.exchange(true)) return;
      const auto startNow = [this] {
        woken_ = false;
        start(0);
      };
      QMetaObject::invokeMethod(this, startNow, Qt::QueuedConnection);
    }

    bool isRunning() const { return depth_ > 0; }

   private:
    void run() noexcept {
      const std::shared_ptr<ZRDefaultRunLoop> queue = queue_.lock();
      if (!queue) return stop();
      const QPointer<Pump> self(this);  // a nested loop obeys `deleteLater`
      start(0);                         // and goes on with the turn in hand
      ++depth_;
      queue->drain();
      if (!self) return;
      --depth_;
      const int timeout = queue->pollTimeout();
      if (timeout < 0) return stop();
      start(timeout);
    }

    const std::weak_ptr<ZRDefaultRunLoop> queue_;
    std::atomic<bool> woken_ = false;  // a start of the timer is on its way
    int depth_ = 0;                    // how many turns are on the stack
  };

  const std::shared_ptr<ZRDefaultRunLoop> queue_;
  Pump* const pump_;  // owned; it ends on its own thread, and not while it runs a turn
};
