#include "SCCurlFailure.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <curl/curl.h>

namespace {

using Code = SCURLErrorCode;

Code codeOfConnectError(long systemError) {
  const bool noNetwork = systemError == ENETUNREACH || systemError == EHOSTUNREACH || systemError == ENETDOWN;
  return noNetwork ? Code::NotConnectedToInternet : Code::CannotConnectToHost;
}

/// Only the text tells a peer that went without a word from one that refused: libcurl's error number may be one of an
/// earlier exchange, and is none when the peer hung up.
Code codeOfHandshakeError(std::string_view text) {
  // TLS itself has nothing to say, or the socket has, or the end came in between.
  constexpr std::array<std::string_view, 4> kBroken{" SSL_connect: ", "Recv failure", "Send failure", "unexpected eof"};
  const bool isBroken =
      std::ranges::any_of(kBroken, [text](std::string_view part) { return text.find(part) != std::string_view::npos; });
  return isBroken ? Code::NetworkConnectionLost : Code::SecureConnectionFailed;
}

}  // namespace

std::optional<Code> SCCurlFailure::codeOf(int result, long systemError, std::string_view text) {
  switch (result) {
    case CURLE_OK:
      return std::nullopt;
    case CURLE_URL_MALFORMAT:
      return Code::BadURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:               // it cannot connect
    case CURLE_OPERATION_TIMEDOUT:  // of connecting: the other limits are not libcurl's
      return Code::CannotConnectToHost;
    case CURLE_COULDNT_CONNECT:
      return codeOfConnectError(systemError);
    case CURLE_SSL_CONNECT_ERROR:
      return codeOfHandshakeError(text);
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_USE_SSL_FAILED:
      return Code::SecureConnectionFailed;
    default:
      return Code::NetworkConnectionLost;
  }
}

bool SCCurlFailure::isOfLookUp(int result) {
  return result == CURLE_COULDNT_RESOLVE_HOST || result == CURLE_COULDNT_RESOLVE_PROXY ||
         result == CURLE_SSL_CACERT_BADFILE;
}

bool SCCurlFailure::isOfConnect(int result) {
  return result == CURLE_COULDNT_CONNECT;
}
