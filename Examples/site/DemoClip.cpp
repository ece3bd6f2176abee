#include "DemoClip.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "EmbeddedFile.h"

namespace site {
namespace {

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

std::string_view DemoClip::file(std::string_view name) {
  const std::span<const EmbeddedFile> files = embeddedFiles();
  const auto found = std::find_if(files.begin(), files.end(), [&](const EmbeddedFile& f) { return f.name == name; });
  return found == files.end() ? std::string_view() : found->bytes;
}

std::size_t DemoClip::size() {
  std::size_t bytes = 0;
  for (std::size_t index = 0; index < kSegments; ++index) bytes += file(segmentName(index)).size();
  return bytes;
}

bool DemoClip::isIn(const std::filesystem::path& localPlaylist) {
  const std::string local = contentOf(localPlaylist);
  for (std::size_t index = 0; index < kSegments; ++index) {
    const std::string name = std::to_string(index) + ".ts";
    if (local.find("\n" + name + "\n") == std::string::npos) return false;
    if (contentOf(localPlaylist.parent_path() / name) != file(segmentName(index))) return false;
  }
  return true;
}

}  // namespace site
