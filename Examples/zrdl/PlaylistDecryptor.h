#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace zrdl {

/// Turns a playlist as the site sends it into one that plays from its folder, where segment i is called "i.ts".
class PlaylistDecryptor {
 public:
  /// The segments' addresses in playlist order, or why there are none.
  using Result = std::variant<std::vector<std::string>, std::string>;
  using Completion = std::function<void(const Result& result)>;

  virtual ~PlaylistDecryptor() = default;

  /// Reads the playlist at `contentPath`, writes the playable one to `localPath` and calls `completion` once, on any
  /// thread, unless this object is destroyed before.
  virtual void decrypt(const std::string& contentPath, const std::string& localPath, Completion completion) = 0;
};

}  // namespace zrdl
