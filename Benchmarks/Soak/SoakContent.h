#pragma once

#include <cstddef>
#include <string>

#include "TemporaryFolder.h"

// What the soak's origin serves and its host expects: even videos are MP4s, odd ones HLS. Pure.

inline constexpr int kSoakVideos = 100;
inline constexpr int kSoakSegments = 5;

inline bool isSoakMp4(int vid) {
  return vid % 2 == 0;
}

inline std::string soakMp4(int vid) {
  return patternBytes(50'000 + static_cast<std::size_t>(vid) * 7'919 % 900'000, static_cast<unsigned>(vid));
}

inline std::string soakSegment(int vid, int index) {
  std::string bytes = patternBytes(188 * 100, static_cast<unsigned>(vid * kSoakSegments + index));
  bytes[0] = bytes[188] = 'G';
  return bytes;
}
