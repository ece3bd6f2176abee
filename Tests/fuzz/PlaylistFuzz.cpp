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
  (void)takeLine(input);  // its header
  std::vector<std::string> alone;
  while (!input.empty()) {
    const auto one = site::LocalPlaylist::of("#EXTM3U\n" + std::string(takeLine(input)), base);
    if (const auto* const segment = std::get_if<site::LocalPlaylist>(&one)) alone.push_back(segment->segments.front());
  }
  expect(local->segments == alone, "a reference means the same whatever is beside it");
  for (const std::string& segment : alone) expect(site::isWebAddress(segment), "a segment is on the web");
  std::size_t index = 0;
  for (std::string_view rest = local->text; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    if (line.empty() || line.front() == '#') continue;
    expect(line == std::to_string(index++) + ".ts", "the segments are called by their numbers");
  }
  expect(index == local->segments.size(), "each segment is played");
}
