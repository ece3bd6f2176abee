#pragma once

#include <cstdint>

/// The failures that a task may still answer with another try. Starts empty: each runner fills it when its rules say.
class ZRRetryBudget final {
 public:
  static constexpr std::int64_t kFull = 3;

  std::int64_t remained() const noexcept { return remained_; }
  bool hasRetryTimes() const noexcept { return remained_ > 0; }
  void reset() noexcept { remained_ = kFull; }

  /// Takes one retry; false, and nothing taken, when none is left.
  [[nodiscard]] bool spend() noexcept {
    if (!hasRetryTimes()) return false;
    --remained_;
    return true;
  }

 private:
  std::int64_t remained_ = 0;
};
