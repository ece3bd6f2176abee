#include "SignalWatch.h"

#include <csignal>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "ExitStatus.h"

namespace zrdl {
namespace {

sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);  // even if it is ignored, as in a shell's background jobs: who sends it means it
  sigaddset(&set, SIGTERM);
  struct sigaction hangup {};
  sigaction(SIGHUP, nullptr, &hangup);
  if (hangup.sa_handler != SIG_IGN) sigaddset(&set, SIGHUP);
  return set;
}

/// Who is told of the first signal.
struct Listener {
  std::mutex mutex;
  std::function<void()> onSignal;
};

/// Never destroyed: the watching thread goes on while the process ends.
Listener& listener() {
  static auto* const instance = new Listener;
  return *instance;
}

[[noreturn]] void watch(const sigset_t& set) {
  for (;;) {
    int signal = 0;
    sigwait(&set, &signal);
    const std::lock_guard lock(listener().mutex);
    const std::function<void()> onSignal = std::exchange(listener().onSignal, nullptr);
    if (!onSignal) std::_Exit(kExitInterrupted);
    onSignal();
  }
}

}  // namespace

void SignalWatch::start() {
  const sigset_t set = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);  // for every thread that this one starts, too
  listener();
  try {
    std::thread(watch, set).detach();
  } catch (const std::system_error&) {
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);  // without a watcher they end the process, as they do by default
  }
}

SignalWatch::SignalWatch(std::function<void()> onSignal) {
  const std::lock_guard lock(listener().mutex);
  listener().onSignal = std::move(onSignal);
}

SignalWatch::~SignalWatch() {
  const std::lock_guard lock(listener().mutex);
  listener().onSignal = nullptr;
}

}  // namespace zrdl
