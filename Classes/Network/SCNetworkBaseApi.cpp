#include "SCNetworkBaseApi.h"

#include "SCTransferTicket.h"
#include "SCURL.h"
#include "ZRThreadCheck.h"

SCNetworkBaseApi::SCNetworkBaseApi() = default;
SCNetworkBaseApi::~SCNetworkBaseApi() = default;

void SCNetworkBaseApi::cancel() {
  zrAssertLoopThread();
  const std::shared_ptr<SCTransferTicket> ticket = ticket_;  // this object may go with its handlers
  if (ticket) ticket->cancel();
}

void SCNetworkBaseApi::tellProgress(const std::shared_ptr<SCNetworkBaseApi>&, std::int64_t, std::int64_t,
                                    std::int64_t) const {}

void SCNetworkBaseApi::dropHandlers() {
  const ResponseHandler dropped = std::exchange(responseHandler_, {});
}

std::string SCNetworkBaseApi::description() const {
  return std::string(className()) + (method_ == 0 ? " GET " : " ") + SCURL::forLog(urlString_);
}
