#pragma once

#include <string>
#include <utility>

#include "DemoCipher.h"
#include "PlainDecryptor.h"

namespace site {

/// Opens the demo's playlists with the playback key that came for them.
class DemoDecryptor final : public PlainDecryptor {
 public:
  explicit DemoDecryptor(std::string mkey) : mkey_(std::move(mkey)) {}

 private:
  std::variant<Plain, std::string> plain(std::string content) const override {
    std::optional<std::string> playlist = DemoCipher::opened(mkey_, content);
    if (!playlist) return "the playback key does not open the playlist";
    return Plain{std::move(*playlist)};
  }

  const std::string mkey_;
};

}  // namespace site
