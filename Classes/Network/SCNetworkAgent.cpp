#include "SCNetworkAgent.h"

#include <csignal>
#include <thread>
#include <unordered_set>
#include <utility>

#include <pthread.h>

#include "SCCommandQueue.h"
#include "SCCurlLoop.h"
#include "ZRThreadCheck.h"

namespace {

using Clock = std::chrono::steady_clock;

/// So long the thread stays awake after the end of the last request.
constexpr std::chrono::microseconds kNextRequest{200};

/// Keeps every signal away from threads that are made in its scope: they are the host's business.
class SignalsBlocked final {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

void nameThread() {
#ifdef __APPLE__
  pthread_setname_np("zr-network");
#else
  pthread_setname_np(pthread_self(), "zr-network");
#endif
}

}  // namespace

/// The main loop's end of the agent, and its thread. Handlers may hold it for longer than the agent does; the thread
/// ends with the agent.
class SCNetworkAgent::Core final : public SCTicketOwner, public std::enable_shared_from_this<Core> {
 public:
  explicit Core(SCNetworkLimits limits) : limits_(limits), loop_(ZRRunLoop::main()), curl_(limits_, ZRHost::current()) {
    const SignalsBlocked blocked;
    thread_ = std::thread([this] { runThread(); });
  }

  void exec(const std::shared_ptr<SCNetworkBaseApi>& request) {
    auto ticket = std::make_shared<SCTransferTicket>(request, *loop_, weak_from_this());
    request->ticket_ = ticket;
    live_.insert(ticket);
    send({std::move(ticket), std::make_unique<SCTransferSpec>(SCTransferSpec::of(*request))});
  }

  void ticketCancelled(const std::shared_ptr<SCTransferTicket>& ticket) override {
    live_.erase(ticket);
    send({ticket, nullptr});
  }

  void ticketDone(const std::shared_ptr<SCTransferTicket>& ticket) override { live_.erase(ticket); }

  /// Drops every request and joins the thread. Undelivered handlers find their requests gone.
  void stop() {
    while (!live_.empty()) (*std::shared_ptr(*live_.begin())).cancel();
    if (commands_.close()) curl_.wakeup();
    thread_.join();
  }

 private:
  void send(SCCommand command) {
    if (commands_.push(std::move(command))) curl_.wakeup();
  }

  void runThread() {
    nameThread();
    while (!commands_.isClosed()) {
      for (SCCommand& command : commands_.takeAll()) obey(std::move(command));
      if (curl_.run()) awaitNext();
      if (commands_.fallAsleep()) curl_.wait();
    }
    curl_.abandonAll();
  }

  /// A task answers the end of a request with its next one, soon: that one need not wait until the thread is awake.
  void awaitNext() const {
    const auto deadline = Clock::now() + kNextRequest;
    while (commands_.isEmpty() && Clock::now() < deadline) std::this_thread::yield();
  }

  void obey(SCCommand command) {
    if (command.spec) {
      const std::string origin = command.spec->plainOrigin();
      curl_.start(std::make_unique<SCTransfer>(std::move(*command.spec), std::move(command.ticket), limits_, pool_),
                  origin);
    } else {
      curl_.cancel(*command.ticket);
    }
  }

  // Set once.
  const SCNetworkLimits limits_;
  const std::shared_ptr<ZRRunLoop> loop_;

  // Main loop's thread.
  std::unordered_set<std::shared_ptr<SCTransferTicket>> live_;

  SCCommandQueue commands_;

  // The agent's thread, while it runs.
  SCBufferPool pool_;
  SCCurlLoop curl_;
  std::thread thread_;
};

SCNetworkAgent::SCNetworkAgent(SCNetworkLimits limits) : core_(std::make_shared<Core>(limits)) {}

SCNetworkAgent::~SCNetworkAgent() {
  core_->stop();
}

void SCNetworkAgent::execApi(const std::shared_ptr<SCNetworkBaseApi>& request) {
  zrAssertLoopThread();
  if (request && !request->ticket_) core_->exec(request);
}
