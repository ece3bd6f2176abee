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

/// Whether an address that holds this text behind its last slash holds it as it stands: a name and perhaps a query, no
/// dot segment, nothing to encode.
bool isPlainName(std::string_view text) {
  constexpr std::string_view kPlain = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.~?=&";
  if (text.empty() || text.front() == '.' || text.front() == '?' || text.back() == '?') return false;
  return text.find_first_not_of(kPlain) == std::string_view::npos;
}

/// Resolves the references of one playlist, whose text must outlive it. Plain names behind the same text lie in the
/// same folder, so that only the first of them is parsed as an address.
class References final {
 public:
  explicit References(std::string_view base) : base_(base) {}

  /// The web address that the reference means; empty when it means none.
  std::string webAddress(std::string_view reference) {
    const std::size_t nameAt = reference.find_last_of('/') + 1;  // 0 without a slash
    const std::string_view before = reference.substr(0, nameAt);
    const std::string_view name = reference.substr(nameAt);
    const bool isPlain = isPlainName(name);
    if (isPlain && !folder_.empty() && before == before_) return folder_ + std::string(name);
    std::string address = resolvedUrl(base_, reference);
    if (!isWebAddress(address)) return "";
    if (isPlain) learn(before, name, address);
    return address;
  }

 private:
  /// Keeps the folder, unless the name stands for something else in the address.
  void learn(std::string_view before, std::string_view name, std::string_view address) {
    const bool isWhole = before.find('\0') == std::string_view::npos;  // libcurl reads no further
    if (!isWhole || !address.ends_with(name)) return;
    before_ = before;
    folder_ = address.substr(0, address.size() - name.size());
  }

  std::string_view base_;
  std::string_view before_;
  std::string folder_;  // the address of what lies behind `before_`; empty at first
};

std::string noAddress(std::string_view line) {
  return "the segment address " + std::string(line) + " is no web address";
}

}  // namespace

std::variant<LocalPlaylist, std::string> LocalPlaylist::of(std::string_view playlist, std::string_view base) {
  if (playlist.starts_with(kByteOrderMark)) playlist.remove_prefix(kByteOrderMark.size());
  if (takeLine(playlist) != "#EXTM3U") return "the file is not a playlist";
  LocalPlaylist local{.text = "#EXTM3U\n", .segments = {}};
  References references(base);
  while (!playlist.empty()) {
    const std::string_view line = takeLine(playlist);
    if (line.empty() || line.front() == '#') {
      if (const char* const reason = whyUnusable(line)) return "not a plain playlist: " + std::string(reason);
      local.text.append(line).append("\n");
      continue;
    }
    std::string address = references.webAddress(line);
    if (address.empty()) return noAddress(line);
    local.text += std::to_string(local.segments.size()) + ".ts\n";
    local.segments.push_back(std::move(address));
  }
  if (local.segments.empty()) return "the playlist has no segments";
  return local;
}

}  // namespace site
