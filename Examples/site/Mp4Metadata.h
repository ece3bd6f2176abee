#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "ZRDownloadKit.h"

namespace site {

/// What this host knows of the second site's videos: the metadata that the library asks it for.
class Mp4Metadata final {
 public:
  /// Reads {"VID-VERSION": {"title", "url", "cover", "duration", "fileSize"}, …}. Throws `UsageError` when the file
  /// cannot be read or holds something else.
  static Mp4Metadata fromFile(const std::string& file);

  /// Sets what is known of one video.
  void set(std::int64_t vid, std::int32_t version, ZRDictionary info);

  /// What is known of the video; nothing when nothing is.
  std::optional<ZRDictionary> find(std::int64_t vid, std::int32_t version) const;

 private:
  std::map<std::string, ZRDictionary> byKey_;  // by "VID-VERSION"
};

/// "VID-VERSION".
std::string mp4Key(std::int64_t vid, std::int64_t version);

}  // namespace site
