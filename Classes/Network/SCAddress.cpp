#include "SCAddress.h"

#include <algorithm>
#include <memory>

#include <curl/curl.h>

#include "SCURL.h"
#include "ZRAscii.h"

namespace {

using Code = SCURLErrorCode;

struct AddressDeleter {
  void operator()(CURLU* address) const noexcept { curl_url_cleanup(address); }
};
using Address = std::unique_ptr<CURLU, AddressDeleter>;

Address parsed(const std::string& text) {
  Address address(curl_url());
  if (!address) return nullptr;
  const auto result = curl_url_set(address.get(), CURLUPART_URL, text.c_str(), CURLU_PATH_AS_IS);
  return result == CURLUE_OK ? std::move(address) : nullptr;
}

std::string partOf(CURLU* address, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(address, part, &text, flags) != CURLUE_OK) return {};
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace

std::variant<SCAddress, SCURLErrorCode> SCAddress::parse(const std::string& text) {
  const std::string scheme = SCURL::scheme(text);
  if (!scheme.empty() && scheme != "http" && scheme != "https") return Code::UnsupportedURL;
  const Address address = SCURL::isHttp(text) ? parsed(text) : nullptr;
  if (!address) return Code::BadURL;
  return SCAddress{text};
}

std::string SCAddress::origin() const {
  const Address address = parsed(text);
  if (!address) return {};
  std::string origin = partOf(address.get(), CURLUPART_SCHEME) + "://" + partOf(address.get(), CURLUPART_HOST) + ":" +
                       partOf(address.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  std::ranges::transform(origin, origin.begin(), ZRAscii::lowered);
  return origin;
}

std::variant<SCAddress, SCURLErrorCode> SCAddress::resolve(std::string_view location) const {
  const std::string reference = SCURL::escapeIllegal(location);
  if (!SCURL::scheme(reference).empty()) return parse(reference);
  const Address address = parsed(text);
  if (!address || curl_url_set(address.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK) return Code::BadURL;
  return parse(partOf(address.get(), CURLUPART_URL));
}
