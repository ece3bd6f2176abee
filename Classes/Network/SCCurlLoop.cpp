#include "SCCurlLoop.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <mutex>
#include <new>
#include <utility>

#include <curl/curl.h>

#include "SCCurlFailure.h"

namespace {

using Code = SCURLErrorCode;

/// Connections kept for later requests.
constexpr long kIdleConnections = 16;

constexpr std::size_t kIdleChannels = 4;

/// How long the thread sleeps at most when nothing can wake it, in milliseconds.
constexpr int kSleepWithoutWakeup = 20;

CURLM* makeMulti() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  CURLM* const multi = curl_multi_init();
  if (multi == nullptr) throw std::bad_alloc();
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kIdleConnections);
  return multi;
}

}  // namespace

void SCCurlLoop::Closer::operator()(void* multi) const noexcept {
  curl_multi_cleanup(multi);
}

SCCurlLoop::SCCurlLoop(const SCNetworkLimits& limits, const ZRHostInfo& host)
    : limits_(limits),
      host_(host),
      multi_(makeMulti()),
      wakes_(curl_multi_wakeup(multi_.get()) == CURLM_OK),
      sweeper_(multi_.get()) {
  idle_.reserve(kIdleChannels);
}

SCCurlLoop::~SCCurlLoop() {
  for (const auto& channel : active_) detach(*channel);
}

void SCCurlLoop::start(std::unique_ptr<SCTransfer> transfer, const std::string& origin) {
  if (!origin.empty()) transfer = queue_.enter(origin, std::move(transfer));
  if (transfer) begin(std::move(transfer), origin);
}

/// It is the transfer's turn; when it ends at once, the next one's.
void SCCurlLoop::begin(std::unique_ptr<SCTransfer> transfer, const std::string& origin) {
  now_ = Clock::now();
  while (transfer && !open(transfer, origin)) transfer = origin.empty() ? nullptr : queue_.leave(origin);
}

/// False when the transfer has ended already; else it has a channel now.
bool SCCurlLoop::open(std::unique_ptr<SCTransfer>& transfer, const std::string& origin) {
  std::optional<SCTransfer::Exchange> exchange;
  try {
    exchange = transfer->begin(now_);
    if (!exchange) return false;
    auto channel = takeChannel();
    active_.reserve(active_.size() + 1);
    channel->occupy(std::move(transfer), origin, rateLimit_);
    active_.push_back(std::move(channel));
  } catch (const std::exception&) {
    transfer->giveUp();
    return false;
  }
  SCCurlChannel& channel = *active_.back();
  if (!send(channel, *exchange)) finish(channel, Code::NetworkConnectionLost);
  return true;
}

std::unique_ptr<SCCurlChannel> SCCurlLoop::takeChannel() {
  if (idle_.empty()) return std::make_unique<SCCurlChannel>(limits_, host_, now_);
  auto channel = std::move(idle_.back());
  idle_.pop_back();
  return channel;
}

bool SCCurlLoop::send(SCCurlChannel& channel, const SCTransfer::Exchange& exchange) {
  return channel.prepare(exchange) && curl_multi_add_handle(multi_.get(), channel.easy()) == CURLM_OK;
}

void SCCurlLoop::cancel(const SCTransferTicket& ticket) {
  const auto isIts = [&ticket](const auto& transfer) { return &transfer.ticket() == &ticket; };
  const auto found = std::ranges::find_if(active_, [&](const auto& channel) { return isIts(channel->transfer()); });
  if (found != active_.end()) {
    (*found)->transfer().abandon();
    detach(**found);
    release(**found);
  } else if (const auto waiting = queue_.remove(isIts)) {
    waiting->abandon();
  }
}

void SCCurlLoop::abandonAll() {
  for (const auto& channel : active_) channel->transfer().abandon();
}

bool SCCurlLoop::run() {
  if (active_.empty()) return false;
  now_ = Clock::now();
  goOnWithShares();
  sweeper_.sweepIfDue(now_);
  int running = 0;
  curl_multi_perform(multi_.get(), &running);
  finishDone();
  finishLate();
  retryDelayed();
  return active_.empty();
}

void SCCurlLoop::goOnWithShares() {
  for (std::size_t i = active_.size(); i-- > 0;) {  // backwards, as in `finishLate`
    if (!active_[i]->goOnIfDue()) finish(*active_[i], Code::NetworkConnectionLost);
  }
}

void SCCurlLoop::finishDone() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    SCCurlChannel* const channel = SCCurlChannel::of(message->easy_handle);
    if (channel == nullptr) {
      sweeper_.ended();
    } else {
      ended(*channel, result);
    }
  }
}

void SCCurlLoop::ended(SCCurlChannel& channel, int result) {
  const bool isRefused = SCCurlFailure::isOfConnect(result) && channel.lacksDescriptor();
  const bool lacks = descriptorWait_.isReason(isRefused, SCCurlFailure::isOfLookUp(result), now_);
  if (!lacks || !descriptorWait_.enter(channel, now_)) return finish(channel, channel.failureOf(result));
  curl_multi_remove_handle(multi_.get(), channel.easy());
}

void SCCurlLoop::finishLate() {
  for (std::size_t i = active_.size(); i-- > 0;) {  // backwards: a finished one makes way for the last
    if (const auto end = active_[i]->tick()) finish(*active_[i], end->failure);
  }
}

void SCCurlLoop::retryDelayed() {
  while (SCCurlChannel* const channel = descriptorWait_.takeDue(now_)) {
    channel->prepareAgain();
    (void)curl_multi_add_handle(multi_.get(), channel->easy());  // a handle that was there before is welcome
  }
}

// The end is posted first: the main loop's thread goes on while this one tidies up.
void SCCurlLoop::finish(SCCurlChannel& channel, std::optional<Code> failure) {
  const std::optional<SCTransfer::Exchange> next = channel.exchangeEnded(failure);
  detach(channel);
  if (!next) {
    release(channel);
  } else if (!send(channel, *next)) {
    finish(channel, Code::NetworkConnectionLost);
  }
}

void SCCurlLoop::detach(const SCCurlChannel& channel) {
  descriptorWait_.remove(channel);
  curl_multi_remove_handle(multi_.get(), channel.easy());
}

void SCCurlLoop::release(SCCurlChannel& channel) {
  const std::string origin = channel.vacate();
  const auto found = std::ranges::find_if(active_, [&channel](const auto& other) { return other.get() == &channel; });
  if (idle_.size() < kIdleChannels) idle_.push_back(std::move(*found));
  *found = std::move(active_.back());
  active_.pop_back();
  descriptorWait_.hurry();
  if (auto next = origin.empty() ? nullptr : queue_.leave(origin)) begin(std::move(next), origin);
}

void SCCurlLoop::wait() {
  Clock::time_point deadline = Clock::time_point::max();
  if (!active_.empty()) deadline = std::min(sweeper_.nextAt(), descriptorWait_.nextAt());
  for (const auto& channel : active_) deadline = std::min(deadline, channel->nextDeadline());
  int milliseconds = INT_MAX;
  if (deadline != Clock::time_point::max()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    milliseconds = static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
  }
  if (!wakes_) milliseconds = std::min(milliseconds, kSleepWithoutWakeup);
  curl_multi_poll(multi_.get(), nullptr, 0, milliseconds, nullptr);
}

void SCCurlLoop::wakeup() {
  curl_multi_wakeup(multi_.get());
}
