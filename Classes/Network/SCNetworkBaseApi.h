#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "SCNetworkApiResponse.h"
#include "SCNetworkResponseParser.h"
#include "ZRDictionary.h"
#include "ZRObject.h"

class SCTransferTicket;
struct SCTransferSpec;

/// One plain HTTP request: filled in with the setters, handed once to `SCNetworkAgent::execApi`, and kept by whoever
/// wants to cancel it. Main loop's thread only; shared, the agent keeps it alive until its `responseHandler` has run.
class SCNetworkBaseApi : public ZRObject {
 public:
  /// Called once when the request ends, successfully or not; never after `cancel`.
  using ResponseHandler = std::function<void(const std::shared_ptr<SCNetworkBaseApi>& request,
                                             const SCNetworkApiResponseProtocol& response)>;

  SCNetworkBaseApi();
  ~SCNetworkBaseApi() override;

  /// The complete address, scheme and host included. It is sent as it stands: what it holds escaped stays escaped, and
  /// only characters that no URL may hold (RFC 3986, section 2) are escaped.
  const std::string& urlString() const noexcept { return urlString_; }
  void setUrlString(std::string urlString) { urlString_ = std::move(urlString); }

  /// The HTTP method's number; 0, GET, is the only one there is.
  int method() const noexcept { return method_; }
  void setMethod(int method) noexcept { method_ = method; }

  /// Texts and numbers appended to the address as a URL-encoded query, in order.
  const ZRDictionary& queryParameters() const noexcept { return queryParameters_; }
  void setQueryParameters(ZRDictionary parameters) { queryParameters_ = std::move(parameters); }

  /// Texts sent as further header fields. They do not follow a redirect to another origin.
  const ZRDictionary& header() const noexcept { return header_; }
  void setHeader(ZRDictionary header) { header_ = std::move(header); }

  /// Caps the whole request, in seconds; 0 leaves it to the agent's limits.
  int timeout() const noexcept { return timeout_; }
  void setTimeout(int seconds) noexcept { timeout_ = seconds; }

  /// How the body becomes the response's result; null leaves it unread.
  const std::shared_ptr<const SCNetworkResponseParser>& responseParser() const noexcept { return responseParser_; }
  void setResponseParser(std::shared_ptr<const SCNetworkResponseParser> parser) { responseParser_ = std::move(parser); }

  const ResponseHandler& responseHandler() const noexcept { return responseHandler_; }
  void setResponseHandler(ResponseHandler handler) { responseHandler_ = std::move(handler); }

  /// Stops the request. None of its handlers runs after this call; before `execApi` or after the end it does nothing.
  void cancel();

  /// Class, method, scheme, host and path; never the query, which may hold keys.
  std::string description() const override;

 protected:
  /// Lets go of what the handlers hold, so that a request held by its own handler goes.
  virtual void dropHandlers();

 private:
  friend class SCNetworkAgent;
  friend class SCTransferTicket;
  friend struct SCTransferSpec;

  /// Adds what only this kind of request tells the agent's thread.
  virtual void describeTo(SCTransferSpec&) const {}

  /// Calls the handler that hears of bytes, where this kind of request has one; `itself` is this request.
  virtual void tellProgress(const std::shared_ptr<SCNetworkBaseApi>& itself, std::int64_t chunk, std::int64_t received,
                            std::int64_t expected) const;

  virtual const char* className() const noexcept { return "SCNetworkBaseApi"; }

  std::string urlString_;
  int method_ = 0;
  ZRDictionary queryParameters_;
  ZRDictionary header_;
  int timeout_ = 0;
  std::shared_ptr<const SCNetworkResponseParser> responseParser_;
  ResponseHandler responseHandler_;
  std::shared_ptr<SCTransferTicket> ticket_;  // set by the agent, once
};
