#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The decisions of the HLS runner that need neither files nor the network.
class ZRM3u8Rules final {
 public:
  /// The most that is read of a segment to check it.
  static constexpr std::size_t kCheckedBytes = 200;

  /// Whether a file that begins with `start`, its first `kCheckedBytes` or all of it if it is shorter, passes as an
  /// MPEG transport stream: the sync byte opens its first two packets (ISO/IEC 13818-1, section 2.4.3.2). An empty file
  /// passes too; any other that is too short does not.
  static bool isTransportStream(std::span<const std::uint8_t> start);

  /// How many segments from the first one are whole packets, when their files have those lengths in bytes. If all are,
  /// what is wrong with them does not show, and none counts.
  static std::size_t wholeSegments(std::span<const std::uint64_t> lengths);

  /// Whether addresses stored at `stamp` are out of date at `now`, both in seconds since 1970. A clock that was set
  /// back that far counts as well.
  static bool areAddressesExpired(double stamp, double now);

  /// A playlist's address with the playback key added; unchanged when the key is empty. The address is not looked at
  /// for a query: the service's own always have one.
  static std::string urlWithMkey(std::string url, std::string_view mkey);
};
