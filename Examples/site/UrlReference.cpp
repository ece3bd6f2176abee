#include "UrlReference.h"

#include <memory>

#include <curl/curl.h>

namespace site {
namespace {

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

/// What is not allowed in an address, blanks and other scripts, is percent-encoded.
bool setAddress(const Url& url, std::string_view address) {
  constexpr unsigned kFlags = CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE;
  return curl_url_set(url.get(), CURLUPART_URL, std::string(address).c_str(), kFlags) == CURLUE_OK;
}

std::string part(const Url& url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, 0) != CURLUE_OK) return "";
  const std::unique_ptr<char, decltype(&curl_free)> owned(text, curl_free);
  return text;
}

}  // namespace

std::string resolvedUrl(std::string_view base, std::string_view reference) {
  const Url url(curl_url(), curl_url_cleanup);
  if (!base.empty() && !setAddress(url, base)) return "";
  return setAddress(url, reference) ? part(url, CURLUPART_URL) : "";
}

bool isWebAddress(std::string_view address) {
  const Url url(curl_url(), curl_url_cleanup);
  const std::size_t colon = address.find(':');  // libcurl would take a missing host from the path
  const bool namesHost = colon != std::string_view::npos && !address.substr(colon).starts_with(":///");
  if (!namesHost || !setAddress(url, address)) return false;
  const std::string scheme = part(url, CURLUPART_SCHEME);
  return scheme == "http" || scheme == "https";
}

}  // namespace site
