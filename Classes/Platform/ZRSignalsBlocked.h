#pragma once

#include <csignal>

#include <pthread.h>

/// Keeps signals away from threads that are made in its scope: they are the host's business. A fault stays where it
/// happens, so that the host's crash handler sees it, and SIGPROF, which a profiler sends to every thread.
class ZRSignalsBlocked final {
 public:
  ZRSignalsBlocked() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGPROF}) {
      sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~ZRSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  ZRSignalsBlocked(const ZRSignalsBlocked&) = delete;
  ZRSignalsBlocked& operator=(const ZRSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};
