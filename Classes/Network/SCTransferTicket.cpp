#include "SCTransferTicket.h"

#include <exception>
#include <utility>

#include "SCFailure.h"

SCTransferTicket::SCTransferTicket(std::shared_ptr<SCNetworkBaseApi> request, ZRRunLoop& loop,
                                   std::weak_ptr<SCTicketOwner> owner)
    : loop_(loop), owner_(std::move(owner)), request_(std::move(request)) {}

SCTransferTicket::~SCTransferTicket() = default;

void SCTransferTicket::cancel() {
  const std::shared_ptr<SCNetworkBaseApi> request = std::exchange(request_, nullptr);
  if (!request) return;
  cancelled_ = true;
  if (const auto owner = owner_.lock()) owner->ticketCancelled(shared_from_this());
  request->dropHandlers();
}

void SCTransferTicket::addProgress(std::int64_t chunk, std::int64_t received, std::int64_t expected) {
  const std::lock_guard lock(mutex_);
  progress_ = {true, progress_.chunk + chunk, received, expected};
}

void SCTransferTicket::postProgress() {
  {
    const std::lock_guard lock(mutex_);
    if (progressPosted_) return;
    progressPosted_ = true;
  }
  loop_.post([self = shared_from_this()] { self->deliverProgress(); });
}

void SCTransferTicket::postEnd(std::optional<ZRError> error, SCParserResult result, int status) {
  SCNetworkApiResponseProtocol response(std::move(error), std::move(result), status);
  loop_.post([self = shared_from_this(), response = std::move(response)] { self->deliverEnd(response); });
}

void SCTransferTicket::postWant(const char* reason) noexcept {
  try {
    postEnd(SCFailure::want(reason), {}, 0);
  } catch (const std::exception&) {  // out of memory to the last
  }
}

void SCTransferTicket::postRelease(std::shared_ptr<const void> object) {
  if (object) loop_.post([object = std::move(object)] {});
}

void SCTransferTicket::deliverProgress() {
  const std::shared_ptr<SCNetworkBaseApi> request = request_;
  Progress progress;
  {
    const std::lock_guard lock(mutex_);
    progress = std::exchange(progress_, {});
    progressPosted_ = false;
  }
  if (request && progress.isDue) request->tellProgress(request, progress.chunk, progress.received, progress.expected);
}

void SCTransferTicket::deliverEnd(const SCNetworkApiResponseProtocol& response) {
  deliverProgress();
  const std::shared_ptr<SCNetworkBaseApi> request = std::exchange(request_, nullptr);
  if (!request) return;
  if (const auto owner = owner_.lock()) owner->ticketDone(shared_from_this());
  const SCNetworkBaseApi::ResponseHandler handler = request->responseHandler();  // it may set a new one
  if (handler) handler(request, response);
  request->dropHandlers();
}
