#include "LocalPlaylist.h"

#include <algorithm>
#include <array>

#include "UrlReference.h"

namespace site {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r";

struct UnusableTag {
  std::string_view tag;
  const char* reason;
};
constexpr std::array<UnusableTag, 6> kUnusableTags{{
    {"#EXT-X-STREAM-INF", "it is a master playlist"},
    {"#EXT-X-I-FRAME-STREAM-INF", "it is a master playlist"},
    {"#EXT-X-MEDIA", "it is a master playlist"},
    {"#EXT-X-KEY", "its segments are encrypted"},
    {"#EXT-X-MAP", "its segments need an initialisation section"},
    {"#EXT-X-BYTERANGE", "its segments are ranges of bytes"},
}};

/// Takes the first line off, without what ends it.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line.substr(0, line.find_last_not_of(kBlanks) + 1);
}

/// The name of a tag goes up to its value.
std::string_view tagName(std::string_view line) {
  return line.substr(0, line.find(':'));
}

const char* whyUnusable(std::string_view line) {
  if (line == "#EXT-X-KEY:METHOD=NONE") return nullptr;
  const auto* const found = std::find_if(kUnusableTags.begin(), kUnusableTags.end(),
                                         [&](const UnusableTag& unusable) { return tagName(line) == unusable.tag; });
  return found == kUnusableTags.end() ? nullptr : found->reason;
}

std::string noAddress(std::string_view line) {
  return "the segment address " + std::string(line) + " is no web address";
}

}  // namespace

std::variant<LocalPlaylist, std::string> LocalPlaylist::of(std::string_view playlist, std::string_view base) {
  if (playlist.starts_with(kByteOrderMark)) playlist.remove_prefix(kByteOrderMark.size());
  if (takeLine(playlist) != "#EXTM3U") return "the file is not a playlist";
  LocalPlaylist local{.text = "#EXTM3U\n", .segments = {}};
  while (!playlist.empty()) {
    const std::string_view line = takeLine(playlist);
    if (line.empty() || line.front() == '#') {
      if (const char* const reason = whyUnusable(line)) return "not a plain playlist: " + std::string(reason);
      local.text.append(line).append("\n");
      continue;
    }
    std::string address = resolvedUrl(base, line);
    if (!isWebAddress(address)) return noAddress(line);
    local.text += std::to_string(local.segments.size()) + ".ts\n";
    local.segments.push_back(std::move(address));
  }
  if (local.segments.empty()) return "the playlist has no segments";
  return local;
}

}  // namespace site
