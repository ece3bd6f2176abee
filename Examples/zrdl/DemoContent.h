#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zrdl {

/// A made-up video: an MP4's ftyp box, then one mdat box filled with pseudo-random bytes. Always the same bytes.
class DemoContent final {
 public:
  static constexpr std::uint64_t kSize = 20ULL * 1024 * 1024;

  /// `length` bytes from `offset` on.
  static std::string bytes(std::uint64_t offset, std::size_t length);

  /// Whether the file holds exactly this content.
  static bool isIn(const std::string& file);
};

}  // namespace zrdl
