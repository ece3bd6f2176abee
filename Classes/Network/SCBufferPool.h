#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

/// The buffers in which bodies are collected for large writes, kept for the next download. The agent's thread only.
class SCBufferPool final {
 public:
  static constexpr std::size_t kSize = std::size_t{1} << 20;
  using Buffer = std::unique_ptr<char[]>;

  /// `kSize` bytes, not initialised: a small body touches only the pages it needs.
  Buffer take() {
    if (idle_.empty()) return std::make_unique_for_overwrite<char[]>(kSize);
    Buffer buffer = std::move(idle_.back());
    idle_.pop_back();
    return buffer;
  }

  void giveBack(Buffer buffer) {
    if (buffer && idle_.size() < kMaxIdle) idle_.push_back(std::move(buffer));
  }

 private:
  static constexpr std::size_t kMaxIdle = 3;  // as many as run side by side by default

  std::vector<Buffer> idle_;
};
