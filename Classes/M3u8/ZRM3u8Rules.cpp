#include "ZRM3u8Rules.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kPacketSize = 188;
constexpr std::uint8_t kSyncByte = 0x47;
constexpr double kAddressLifetime = 7200;

}  // namespace

bool ZRM3u8Rules::isTransportStream(std::span<const std::uint8_t> start) {
  if (start.empty()) return true;
  return start.size() >= kCheckedBytes && start[0] == kSyncByte && start[kPacketSize] == kSyncByte;
}

std::size_t ZRM3u8Rules::wholeSegments(std::span<const std::uint64_t> lengths) {
  const auto broken =
      std::ranges::find_if(lengths, [](std::uint64_t length) { return length == 0 || length % kPacketSize != 0; });
  return broken == lengths.end() ? 0 : static_cast<std::size_t>(broken - lengths.begin());
}

bool ZRM3u8Rules::areAddressesExpired(double stamp, double now) {
  return std::fabs(now - stamp) > kAddressLifetime;
}

std::string ZRM3u8Rules::urlWithMkey(std::string url, std::string_view mkey) {
  if (mkey.empty()) return url;
  url += url.ends_with('&') ? "mkey=" : "&mkey=";
  return url.append(mkey);
}
