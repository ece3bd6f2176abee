#include "SCFailure.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "ZRValue.h"

namespace {

/// What a code says: its word, and its text when nothing better is known.
struct Words {
  const char* reason;
  std::string_view text;
};

Words wordsOf(SCURLErrorCode code) {
  switch (code) {
    case SCURLErrorCode::Cancelled:
      return {kZRReasonCancelled, "cancelled"};
    case SCURLErrorCode::BadURL:
      return {kZRReasonBadAddress, "malformed address"};
    case SCURLErrorCode::TimedOut:
      return {kZRReasonTimedOut, "the request timed out"};
    case SCURLErrorCode::UnsupportedURL:
      return {kZRReasonBadScheme, "unsupported scheme"};
    case SCURLErrorCode::CannotConnectToHost:
      return {kZRReasonCannotConnect, "cannot connect to the host"};
    case SCURLErrorCode::NetworkConnectionLost:
      return {kZRReasonConnectionLost, "the connection was lost"};
    case SCURLErrorCode::TooManyRedirects:
      return {kZRReasonTooManyRedirects, "too many redirects"};
    case SCURLErrorCode::NotConnectedToInternet:
      return {kZRReasonNoNetwork, "there is no network"};
    case SCURLErrorCode::BadServerResponse:
      return {kZRReasonServiceRefused, "the server refused"};
    case SCURLErrorCode::CannotParseResponse:
      return {kZRReasonBadAnswer, "the answer cannot be parsed"};
    case SCURLErrorCode::SecureConnectionFailed:
      return {kZRReasonTlsRefused, "no secure connection"};
  }
  return {};
}

ZRError withCause(const ZRError& error, const char* reason, std::string cause) {
  return error.with(kZRErrorReasonKey, reason).with(kZRErrorCauseKey, std::move(cause));
}

}  // namespace

ZRError SCFailure::transport(SCURLErrorCode code, std::string_view detail) {
  const Words words = wordsOf(code);
  const std::string_view text = detail.empty() ? words.text : detail;
  return {kSCURLErrorDomain,
          static_cast<std::int64_t>(code),
          std::string(text),
          {{kZRErrorReasonKey, words.reason}, {kZRErrorCauseKey, text}}};
}

ZRError SCFailure::tooLarge() {
  return transport(SCURLErrorCode::CannotParseResponse, "the answer is too large")
      .with(kZRErrorReasonKey, kZRReasonAnswerTooLarge);
}

ZRError SCFailure::status(int status) {
  return {kSCHTTPErrorDomain,
          status,
          "HTTP status " + std::to_string(status),
          {{kZRErrorReasonKey, kZRReasonHttpStatus}, {kZRErrorHttpStatusKey, status}}};
}

ZRError SCFailure::want(const char* reason) {
  return ZRError(ZRErrorCode::ResourceUnusable, "the system has no more threads or memory")
      .with(kZRErrorReasonKey, reason);
}

ZRError SCFailure::diskFull() {
  return ZRError(ZRErrorCode::DiskFull, "磁盘空间不足").with(kZRErrorReasonKey, kZRReasonDiskFull);
}

ZRError SCFailure::file(std::string_view operation, int systemError, const char* reason) {
  if (systemError == ENOSPC || systemError == EDQUOT) return diskFull();
  return withCause({ZRErrorCode::ResourceUnusable, "the file cannot be written"}, reason,
                   std::string(operation) + ": " + std::generic_category().message(systemError));
}

ZRError SCFailure::fileBusy() {
  return withCause({ZRErrorCode::ResourceUnusable, "the file is in use"}, kZRReasonFileBusy,
                   "another download writes it");
}
