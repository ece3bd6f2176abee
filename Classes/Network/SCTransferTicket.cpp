#include "SCTransferTicket.h"

#include <exception>
#include <utility>

#include "SCFailure.h"
#include "SCNetworkDownloadApi.h"

namespace {

class Response final : public SCNetworkApiResponseProtocol {
 public:
  Response(std::optional<ZRError> error, SCParserResult result, int status)
      : error_(std::move(error)), result_(std::move(result)), status_(status) {}

  const std::optional<ZRError>& err() const override { return error_; }
  const SCParserResult& parserResult() const override { return result_; }
  int statusCode() const override { return status_; }

 private:
  const std::optional<ZRError> error_;
  const SCParserResult result_;
  const int status_;
};

}  // namespace

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
  auto response = std::make_shared<Response>(std::move(error), std::move(result), status);
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
  if (!request || !progress.isDue) return;
  const auto& download = static_cast<const SCNetworkDownloadApi&>(*request);         // nothing else makes progress
  const SCNetworkDownloadApi::ProgressHandler handler = download.progressHandler();  // it may cancel the request
  if (handler) handler(request, progress.chunk, progress.received, progress.expected);
}

void SCTransferTicket::deliverEnd(const std::shared_ptr<SCNetworkApiResponseProtocol>& response) {
  deliverProgress();
  const std::shared_ptr<SCNetworkBaseApi> request = std::exchange(request_, nullptr);
  if (!request) return;
  if (const auto owner = owner_.lock()) owner->ticketDone(shared_from_this());
  const SCNetworkBaseApi::ResponseHandler handler = request->responseHandler();  // it may set a new one
  if (handler) handler(request, response);
  request->dropHandlers();
}
