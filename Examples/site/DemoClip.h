#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace site {

/// A short real video for the demo, H.264 and AAC in MPEG-TS segments of two seconds; `clip/make-clip` made it. The
/// files are part of the program.
class DemoClip final {
 public:
  static constexpr std::size_t kSegments = 3;
  static constexpr int kSeconds = 6;

  /// The media playlist; it names its segments relative to itself.
  static std::string_view playlist() { return file("clip.m3u8"); }

  /// JPEG.
  static std::string_view picture() { return file("clip.jpg"); }

  /// The segment of that name in the playlist; empty when there is none.
  static std::string_view segment(std::string_view name) { return file(name); }

  /// Bytes of all segments.
  static std::size_t size();

  /// Whether the folder holds a playlist at `localPlaylist` and every segment, as a download leaves them.
  static bool isIn(const std::filesystem::path& localPlaylist);

 private:
  static std::string_view file(std::string_view name);
  static std::string segmentName(std::size_t index) { return "clip-" + std::to_string(index) + ".ts"; }
};

}  // namespace site
