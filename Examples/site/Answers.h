#pragma once

#include <memory>
#include <string>

#include "Mp4Metadata.h"
#include "PlaylistDecryptor.h"
#include "ZRDownloadKit.h"

namespace site {

/// What a user knows of the sites, in texts that are empty when there is nothing to know.
struct Settings {
  std::string infoBase;     ///< base of the video-information service
  std::string mkey;         ///< playback key
  std::string cookie;       ///< sent with a playlist's request
  std::string segmentBase;  ///< absolute address of relative segments; empty for the playlist's own
  std::string mp4Info;      ///< file of the second site's metadata
};

/// What the library is answered when it asks the host, which an application would pass on to its sites.
struct Answers {
  Mp4Metadata mp4;
  ZRDictionary playbackKey;                      ///< {"mkey", "cookie"}, each only when there is one
  std::unique_ptr<PlaylistDecryptor> decryptor;  ///< null in a host that runs no task

  /// From the settings, for playlists that are not encrypted. Throws `UsageError` when a file named there cannot be
  /// used.
  static Answers of(const Settings& settings);
};

}  // namespace site
