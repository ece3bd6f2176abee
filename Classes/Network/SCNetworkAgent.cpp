#include "SCNetworkAgent.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <thread>
#include <unordered_set>
#include <utility>

#include <pthread.h>

#include "SCCommandQueue.h"
#include "SCCurlLoop.h"
#include "ZRErrorReason.h"
#include "ZRSignalsBlocked.h"
#include "ZRThreadCheck.h"

namespace {

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
  explicit Core(SCNetworkLimits limits) : limits_(limits), host_(ZRHost::current()), loop_(ZRRunLoop::main()) {}

  void exec(const std::shared_ptr<SCNetworkBaseApi>& request) {
    auto ticket = std::make_shared<SCTransferTicket>(request, *loop_, weak_from_this());
    request->ticket_ = ticket;
    live_.insert(ticket);
    if (!startThread()) return ticket->postWant(kZRReasonNoThread);
    send({std::move(ticket), std::make_unique<SCTransferSpec>(SCTransferSpec::of(*request))});
  }

  void setMaxBytesPerSecond(std::int64_t limit) { send({nullptr, nullptr, std::max<std::int64_t>(limit, 0)}); }

  void ticketCancelled(const std::shared_ptr<SCTransferTicket>& ticket) override {
    live_.erase(ticket);
    send({ticket, nullptr});
  }

  void ticketDone(const std::shared_ptr<SCTransferTicket>& ticket) override { live_.erase(ticket); }

  /// Drops every request and joins the threads. Undelivered handlers find their requests gone.
  void stop() {
    while (!live_.empty()) (*std::shared_ptr(*live_.begin())).cancel();
    if (commands_.close()) curl_->wakeup();
    if (thread_.joinable()) thread_.join();
    parsing_.reset();
  }

 private:
  void send(SCCommand command) {
    if (commands_.push(std::move(command))) curl_->wakeup();
  }

  /// Made with the first request. False when the system gives no thread; the next request tries again.
  bool startThread() {
    if (thread_.joinable()) return true;
    try {
      if (!curl_) curl_.emplace(limits_, host_);
      const ZRSignalsBlocked blocked;
      thread_ = std::thread([this] { runThread(); });
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  void runThread() {
    nameThread();
    while (!commands_.isClosed()) {
      try {
        runOnce();
      } catch (const std::exception&) {  // out of memory between two transfers, which go on
      }
    }
    curl_->abandonAll();
  }

  void runOnce() {
    for (SCCommand& command : commands_.takeAll()) obey(std::move(command));
    if (curl_->run()) commands_.awaitNext();
    if (commands_.fallAsleep()) curl_->wait();
  }

  void obey(SCCommand command) {
    const std::shared_ptr<SCTransferTicket> ticket = command.ticket;
    if (!ticket) return curl_->setMaxBytesPerSecond(command.maxBytesPerSecond);
    if (!command.spec) return curl_->cancel(*ticket);
    try {
      const std::string origin = command.spec->plainOrigin();
      curl_->start(std::make_unique<SCTransfer>(std::move(*command.spec), ticket, limits_, pool_, *parsing_), origin);
    } catch (const std::exception&) {
      ticket->postWant(kZRReasonNoMemory);
    }
  }

  // Set once.
  const SCNetworkLimits limits_;
  const ZRHostInfo host_;
  const std::shared_ptr<ZRRunLoop> loop_;

  // Main loop's thread.
  std::unordered_set<std::shared_ptr<SCTransferTicket>> live_;

  SCCommandQueue commands_;

  // The agent's thread, while it runs.
  SCBufferPool pool_;
  std::optional<ZRBackgroundQueue> parsing_{ZRBackgroundQueue::Priority::Normal};
  std::optional<SCCurlLoop> curl_;
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

void SCNetworkAgent::setMaxBytesPerSecond(std::int64_t limit) {
  zrAssertLoopThread();
  core_->setMaxBytesPerSecond(limit);
}
