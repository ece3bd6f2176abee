#include "SCTransferSpec.h"

#include <algorithm>

#include "SCAddress.h"
#include "SCFailure.h"
#include "SCURL.h"

namespace {

/// Adds the caller's fields; false when one of them would break the request apart.
bool addHeaders(const ZRDictionary& header, std::vector<std::string>& lines) {
  for (const auto& [name, value] : header) {
    const std::optional<std::string> text = value.textValue();
    if (!text) continue;
    lines.push_back(SCURL::headerLine(name, *text));
    if (lines.back().empty()) return false;
  }
  return true;
}

}  // namespace

std::string SCTransferSpec::plainOrigin() const {
  if (target || refusal) return {};
  const auto parsed = SCAddress::parse(address);
  const auto* const sound = std::get_if<SCAddress>(&parsed);
  return sound == nullptr ? std::string() : sound->origin();
}

SCTransferSpec SCTransferSpec::of(const SCNetworkBaseApi& request) {
  SCTransferSpec spec;
  spec.address = SCURL::build(request.urlString(), request.queryParameters());
  spec.timeout = std::chrono::seconds(std::max(request.timeout(), 0));
  spec.parser = request.responseParser();
  if (!addHeaders(request.header(), spec.callerHeaders)) {
    spec.refusal = SCFailure::transport(SCURLErrorCode::BadURL, "malformed header field");
  }
  if (request.method() != 0) spec.refusal = SCFailure::transport(SCURLErrorCode::BadURL, "unknown method");
  request.describeTo(spec);
  return spec;
}
