#pragma once

#include <stdexcept>

namespace zrdl {

inline constexpr int kExitAllFinished = 0;
inline constexpr int kExitSomeNot = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

/// A command line, or a file named on it, that cannot be used; `what()` is one line for the user.
class UsageError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace zrdl
