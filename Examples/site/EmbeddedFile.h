#pragma once

#include <span>
#include <string_view>

namespace site {

/// A file that was put into the program when it was built.
struct EmbeddedFile {
  std::string_view name;  ///< without folders
  std::string_view bytes;
};

std::span<const EmbeddedFile> embeddedFiles();

}  // namespace site
