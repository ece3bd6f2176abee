#include "SCFailure.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "ZRValue.h"

namespace {

std::string_view textOf(SCURLErrorCode code) {
  switch (code) {
    case SCURLErrorCode::Cancelled:
      return "cancelled";
    case SCURLErrorCode::BadURL:
      return "malformed address";
    case SCURLErrorCode::TimedOut:
      return "the request timed out";
    case SCURLErrorCode::UnsupportedURL:
      return "unsupported scheme";
    case SCURLErrorCode::CannotConnectToHost:
      return "cannot connect to the host";
    case SCURLErrorCode::NetworkConnectionLost:
      return "the connection was lost";
    case SCURLErrorCode::TooManyRedirects:
      return "too many redirects";
    case SCURLErrorCode::NotConnectedToInternet:
      return "there is no network";
    case SCURLErrorCode::BadServerResponse:
      return "the server refused";
    case SCURLErrorCode::CannotParseResponse:
      return "the answer cannot be parsed";
    case SCURLErrorCode::DataLengthExceedsMaximum:
      return "the answer is too large";
    case SCURLErrorCode::SecureConnectionFailed:
      return "no secure connection";
  }
  return {};
}

ZRError withCause(ZRErrorCode code, std::string text, const char* reason, std::string cause) {
  return {kZRErrorDomain,
          static_cast<std::int64_t>(code),
          std::move(text),
          {{"reason", reason}, {"cause", std::move(cause)}}};
}

}  // namespace

ZRError SCFailure::transport(SCURLErrorCode code, std::string_view detail) {
  return {kSCURLErrorDomain, static_cast<std::int64_t>(code), std::string(detail.empty() ? textOf(code) : detail)};
}

ZRError SCFailure::status(int status) {
  return {kSCHTTPErrorDomain, status, "HTTP status " + std::to_string(status)};
}

ZRError SCFailure::want(const char* reason) {
  const auto code = static_cast<std::int64_t>(ZRErrorCode::ResourceUnusable);
  return {kZRErrorDomain, code, "the system has no more threads or memory", {{"reason", reason}}};
}

ZRError SCFailure::file(std::string_view operation, int systemError, const char* reason) {
  if (systemError == ENOSPC || systemError == EDQUOT) return {ZRErrorCode::DiskFull, "磁盘空间不足"};
  return withCause(ZRErrorCode::ResourceUnusable, "the file cannot be written", reason,
                   std::string(operation) + ": " + std::generic_category().message(systemError));
}

ZRError SCFailure::fileBusy() {
  return withCause(ZRErrorCode::ResourceUnusable, "the file is in use", "fileBusy", "another download writes it");
}
