#pragma once

#include <atomic>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include <glib.h>

#include "ZRDefaultRunLoop.h"

/// A GLib main context as the library's main loop, for hosts with a `GMainLoop`, a `GApplication` or GTK. Needs GLib
/// 2.36.
///
///     ZRRunLoop::setMain(std::make_shared<ZRGLibRunLoop>());
///     ZRDownloadManager::sharedManager()->setup(options);
///     const int status = g_application_run(application, argc, argv);
///     ZRDownloadManager::shutdown();
///     return status;
///
/// Work runs whenever somebody iterates the context, also in a main loop that work itself runs. A turn is one dispatch
/// of default priority and ends with what was due when it began, so other sources get their share. An idle loop lets
/// the context sleep. The loop's thread is the one that made it, until another one iterates the context.
///
/// Work must not throw: an exception ends the process there and does not unwind through GLib.
///
/// Any thread may post, and may hold the last reference: what has not started then is dropped.
class ZRGLibRunLoop final : public ZRRunLoop {
 public:
  /// A loop on `context`, which it keeps alive; null is GLib's global default context.
  explicit ZRGLibRunLoop(GMainContext* context = nullptr)
      : shared_(std::make_shared<Shared>()),
        context_(g_main_context_ref(context != nullptr ? context : g_main_context_default())),
        source_(newSource(shared_)) {
    shared_->queue.setWakeup([wakened = context_] { g_main_context_wakeup(wakened); });
    g_source_attach(source_, context_);
  }

  ~ZRGLibRunLoop() override {
    shared_->queue.clear();
    g_source_destroy(source_);
    g_source_unref(source_);
    g_main_context_unref(context_);
  }

  ZRGLibRunLoop(const ZRGLibRunLoop&) = delete;
  ZRGLibRunLoop& operator=(const ZRGLibRunLoop&) = delete;

  void post(Work work) override { shared_->queue.post(std::move(work)); }
  DelayedId postDelayed(Duration delay, Work work) override {
    return shared_->queue.postDelayed(delay, std::move(work));
  }
  void cancel(DelayedId id) override { shared_->queue.cancel(id); }
  bool isLoopThread() const override { return shared_->thread == std::this_thread::get_id(); }

 private:
  /// What a turn keeps alive while its own work destroys the loop.
  struct Shared {
    ZRDefaultRunLoop queue;
    std::atomic<std::thread::id> thread = std::this_thread::get_id();
  };

  /// GLib makes the memory, clears it and gives the first member its value.
  struct Source {
    GSource base;
    std::weak_ptr<Shared> shared;

    static std::shared_ptr<Shared> sharedOf(GSource* source) {
      return reinterpret_cast<Source*>(source)->shared.lock();
    }
  };

  static GSource* newSource(const std::shared_ptr<Shared>& shared) {
    static GSourceFuncs functions{prepare, check, dispatch, finalize, nullptr, nullptr};
    GSource* const source = g_source_new(&functions, sizeof(Source));
    new (&reinterpret_cast<Source*>(source)->shared) std::weak_ptr<Shared>(shared);
    g_source_set_name(source, "ZRGLibRunLoop");
    g_source_set_can_recurse(source, TRUE);
    return source;
  }

  // GLib asks before every sleep how long it may last, so there is no timer to keep in step with the queue.

  static gboolean prepare(GSource* source, gint* timeout) noexcept {
    *timeout = -1;
    const std::shared_ptr<Shared> shared = Source::sharedOf(source);
    if (!shared) return FALSE;
    shared->thread = std::this_thread::get_id();
    *timeout = shared->queue.pollTimeout();
    return *timeout == 0 ? TRUE : FALSE;
  }

  static gboolean check(GSource* source) noexcept {
    const std::shared_ptr<Shared> shared = Source::sharedOf(source);
    return shared && shared->queue.pollTimeout() == 0 ? TRUE : FALSE;
  }

  static gboolean dispatch(GSource* source, GSourceFunc, gpointer) noexcept {
    const std::shared_ptr<Shared> shared = Source::sharedOf(source);
    if (!shared) return G_SOURCE_REMOVE;
    shared->queue.drain();
    return G_SOURCE_CONTINUE;
  }

  static void finalize(GSource* source) noexcept { reinterpret_cast<Source*>(source)->shared.~weak_ptr(); }

  const std::shared_ptr<Shared> shared_;
  GMainContext* const context_;  // a reference
  GSource* const source_;        // a reference
};
