#pragma once

#include <array>
#include <string_view>

/// The calls that the shim counts and fails; each stands for its relatives too, `open` for openat and fopen, `mkdir`
/// for symlink. `any` is one of them all.
inline constexpr std::array<std::string_view, 13> kFaultCalls{
    "open",  "read",  "pwrite", "fdatasync", "rename",         "ftruncate", "unlink",
    "mkdir", "close", "socket", "connect",   "pthread_create", "any"};
