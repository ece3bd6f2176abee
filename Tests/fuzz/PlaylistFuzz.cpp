// A playlist made local. The first line is the address that it came from, the rest its text.

#include "Fuzz.h"
#include "LocalPlaylist.h"
#include "UrlReference.h"

void fuzz(std::string_view input) {
  const std::string_view base = takeLine(input);
  const auto result = site::LocalPlaylist::of(input, base);
  const auto* const local = std::get_if<site::LocalPlaylist>(&result);
  if (local == nullptr) {
    expect(!std::get<std::string>(result).empty(), "a refusal says why");
    return;
  }
  for (const std::string& segment : local->segments) expect(site::isWebAddress(segment), "a segment is on the web");
  std::size_t index = 0;
  for (std::string_view rest = local->text; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    if (line.empty() || line.front() == '#') continue;
    expect(line == std::to_string(index++) + ".ts", "the segments are called by their numbers");
  }
  expect(index == local->segments.size(), "each segment is played");
}
