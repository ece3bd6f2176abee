#pragma once

namespace zrdl {

inline constexpr int kExitAllFinished = 0;
inline constexpr int kExitSomeNot = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitInterrupted = 130;

}  // namespace zrdl
