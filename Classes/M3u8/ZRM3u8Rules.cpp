#include "ZRM3u8Rules.h"

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

bool ZRM3u8Rules::areAddressesExpired(double stamp, double now) {
  return std::fabs(now - stamp) > kAddressLifetime;
}

std::string ZRM3u8Rules::urlWithMkey(std::string url, std::string_view mkey) {
  if (mkey.empty()) return url;
  url += url.ends_with('&') ? "mkey=" : "&mkey=";
  return url.append(mkey);
}
