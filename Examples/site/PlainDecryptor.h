#pragma once

#include <string>
#include <utility>
#include <variant>

#include "PlaylistDecryptor.h"

namespace site {

/// For playlists that are not encrypted, or whose cipher a subclass takes off. Answers at once: a playlist is small.
class PlainDecryptor : public PlaylistDecryptor {
 public:
  /// Relative segment addresses are inside `segmentBase`; when that is empty, inside the playlist's own address.
  explicit PlainDecryptor(std::string segmentBase = "") : segmentBase_(std::move(segmentBase)) {}

  void decrypt(const Request& request, Completion completion) final;

 protected:
  struct Plain {
    std::string playlist;
  };

  /// The playlist inside the bytes of the file, or why there is none.
  virtual std::variant<Plain, std::string> plain(std::string content) const { return Plain{std::move(content)}; }

 private:
  Result rewrite(const Request& request) const;

  const std::string segmentBase_;
};

}  // namespace site
