#pragma once

#include <memory>

#include "Mp4Metadata.h"
#include "Options.h"
#include "PlaylistDecryptor.h"
#include "ZRDownloadKit.h"

namespace zrdl {

/// What the library is answered when it asks the host, which an application would pass on to its sites.
struct SiteAnswers {
  Mp4Metadata mp4;
  ZRDictionary playbackKey;                      ///< {"mkey", "cookie"}, each only when there is one
  std::unique_ptr<PlaylistDecryptor> decryptor;  ///< null in a host that runs no task

  /// As the command line says. Throws `UsageError` when a file named there cannot be used.
  static SiteAnswers of(const Options& options);
};

}  // namespace zrdl
