#include "SignalWatch.h"

#include <csignal>
#include <cstdlib>
#include <utility>

#include "ExitStatus.h"

namespace zrdl {
namespace {

sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

}  // namespace

void SignalWatch::block() {
  const sigset_t set = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

SignalWatch::SignalWatch(std::function<void()> onSignal)
    : thread_([this, onSignal = std::move(onSignal)] { watch(onSignal); }) {}

SignalWatch::~SignalWatch() {
  ending_ = true;
  pthread_kill(thread_.native_handle(), SIGINT);  // lets sigwait return
  thread_.join();
}

void SignalWatch::watch(const std::function<void()>& onSignal) {
  const sigset_t set = watchedSignals();
  int signal = 0;
  for (bool first = true;; first = false) {
    sigwait(&set, &signal);
    if (ending_) return;
    if (!first) std::_Exit(kExitInterrupted);
    onSignal();
  }
}

}  // namespace zrdl
