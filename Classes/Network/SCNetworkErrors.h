#pragma once

#include <cstdint>

/// The domain of transport, address and parser failures. Its codes are the platform's.
inline constexpr const char* kSCURLErrorDomain = "SCURLErrorDomain";

/// The domain of answers outside 2xx; the code is the HTTP status.
inline constexpr const char* kSCHTTPErrorDomain = "SCHTTPErrorDomain";

/// Codes of the domain `kSCURLErrorDomain`.
enum class SCURLErrorCode : std::int64_t {
  Cancelled = -999,
  BadURL = -1000,
  TimedOut = -1001,               ///< the request's own `timeout` ran out
  UnsupportedURL = -1002,         ///< a scheme other than http and https, also on a redirect
  CannotConnectToHost = -1004,    ///< connection refused or timed out, or the name does not resolve
  NetworkConnectionLost = -1005,  ///< reset, early end or stall, or an answer that HTTP does not allow
  TooManyRedirects = -1007,
  NotConnectedToInternet = -1009,  ///< no route, or the network is down
  BadServerResponse = -1011,       ///< a parser's check value is not the expected one
  CannotParseResponse = -1017,     ///< the body is not JSON, holds no record, or is above the agent's limit
  SecureConnectionFailed = -1200,
};

/// Key of a parser error's user information: the JSON value that was parsed; absent when the body was no JSON.
inline constexpr const char* SCNJsonParserErrorKey_RawJSON = "SCNJsonParserErrorKey_RawJSON";

/// Key of a parser error's user information: the value found at the check key path; absent when there was none.
inline constexpr const char* SCNJsonParserErrorKey_RealValue = "SCNJsonParserErrorKey_RealValue";
