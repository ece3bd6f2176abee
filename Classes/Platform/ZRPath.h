#pragma once

#include <string>
#include <string_view>

/// Path texts (UTF-8), joined the way the library's folders are built.
class ZRPath {
 public:
  /// `base` with the components of `sub` appended, one "/" between them. A `sub` that begins with "/" is appended too,
  /// never taken as an absolute path; an empty one gives `base`.
  static std::string append(std::string_view base, std::string_view sub);

  /// True when `path`, with its "." and ".." components resolved as text, lies strictly below `folder`. A path that
  /// holds a NUL lies nowhere.
  static bool isBelow(std::string_view path, std::string_view folder);

  /// True when something exists at `path`, a symbolic link followed.
  static bool exists(std::string_view path);
};
