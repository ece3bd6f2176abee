#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ZRError.h"

/// The decisions of the share runner that need neither files nor the network. What they judge comes from another
/// device, which may send anything.
class ZRShareRules final {
 public:
  // Addresses.

  /// Where the device at the base URL `host` tells the share URL of an album. Query and fragment of `host` stay behind
  /// the longer path (RFC 3986, section 3). What is no URL gives none.
  static std::string albumDetailURL(std::string_view host);

  static std::string pingURL(std::string_view base);

  // Answers.

  /// What a failed detail request says for good about device or file; nothing when another try may help. `httpStatus`
  /// is 0 when no answer arrived.
  static std::optional<ZRError> finalDetailError(const ZRError& error, int httpStatus);

  /// The error of a device that does not share any more.
  static ZRError hostOfflineError();

  // Names. They are used as they are, their slashes as folders, and judged by where their path ends: "a/../b" is "b",
  // "/b" is "b" too, and "..", ".", "" and "a/.." name no place. Nothing is given either for a NUL, for what is too
  // long for a file system, and for a folder named like one on its way out, which would be swept.

  /// Path of the file or folder `name` inside `folder`, however many folders deeper, without "." and "..".
  static std::optional<std::string> pathInFolder(std::string_view folder, std::string_view name);

  /// ALBUM/VIDEO, below the share base folder. Both ids must be names of one folder, without a separator, so that two
  /// shares never have the same folder or one inside the other's.
  static std::optional<std::string> taskFolder(std::string_view aid, std::string_view vid);

  /// Whether a download to `path` would get into the way of the video at `videoPath`: it or its `.part` is the video's
  /// file, a folder above or below it, or one that the video's download keeps beside it.
  static bool disturbsVideo(std::string_view path, std::string_view videoPath);
};
