#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "ZRDownloadKit.h"

namespace site {

/// The store takes no text that holds a ', so a title gets ’ in its place and an address %27, which means the same.
inline std::string withoutQuotes(std::string text, std::string_view with) {
  for (std::size_t at = 0; (at = text.find('\'', at)) != std::string::npos; at += with.size())
    text.replace(at, 1, with);
  return text;
}

/// Metadata or parameters as the store takes them.
inline ZRDictionary storable(ZRDictionary info) {
  if (const std::string* const title = info["title"].asText()) info.set("title", withoutQuotes(*title, "’"));
  for (const char* const key : {"url", kZRParamCover, kZRParamAlbumPic}) {
    if (const std::string* const address = info[key].asText()) info.set(key, withoutQuotes(*address, "%27"));
  }
  return info;
}

}  // namespace site
