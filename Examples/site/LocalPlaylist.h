#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace site {

/// A playlist made to play from the folder that its segments are downloaded to, where they are called 0.ts, 1.ts, ….
struct LocalPlaylist {
  std::string text;
  std::vector<std::string> segments;  ///< their addresses, in playlist order

  /// From a media playlist (RFC 8216) whose segments are whole files and not encrypted. Relative addresses are taken to
  /// be inside `base`, an absolute address or empty. Tags, comments and blank lines are kept as they are. Otherwise a
  /// text that says why there is none.
  static std::variant<LocalPlaylist, std::string> of(std::string_view playlist, std::string_view base);
};

}  // namespace site
