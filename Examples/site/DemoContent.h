#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace site {

/// A made-up video: an MP4's ftyp box, then one mdat box filled with pseudo-random bytes. Always the same bytes for the
/// same size and seed.
class DemoContent final {
 public:
  constexpr DemoContent(std::uint32_t size, std::uint64_t seed) : size_(size), seed_(seed) {}

  constexpr std::uint32_t size() const noexcept { return size_; }

  /// `length` bytes from `offset` on.
  std::string bytes(std::uint64_t offset, std::size_t length) const;

  /// Whether the file holds exactly this content.
  bool isIn(const std::string& file) const;

 private:
  std::string header() const;
  std::uint64_t randomWord(std::uint64_t index) const;

  std::uint32_t size_;
  std::uint64_t seed_;
};

/// What the second site and the sharing device of the demo hold.
inline constexpr DemoContent kDemoVideo{12U * 1024 * 1024, 1};
inline constexpr DemoContent kDemoShare{8U * 1024 * 1024, 2};

}  // namespace site
