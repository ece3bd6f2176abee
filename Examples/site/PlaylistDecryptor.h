#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace site {

/// Turns a playlist as the site sends it into one that plays from its folder, where segment i is called "i.ts".
class PlaylistDecryptor {
 public:
  /// The segments' addresses in playlist order, or why there are none.
  using Result = std::variant<std::vector<std::string>, std::string>;
  using Completion = std::function<void(const Result& result)>;

  struct Request {
    std::string contentPath;  ///< the playlist as it came
    std::string localPath;    ///< where the playable one goes
    std::string address;      ///< which the playlist came from
  };

  virtual ~PlaylistDecryptor() = default;

  /// Reads the playlist, writes the playable one and calls `completion` once, on any thread, unless this object is
  /// destroyed before.
  virtual void decrypt(const Request& request, Completion completion) = 0;
};

}  // namespace site
