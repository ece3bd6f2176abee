#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace site {

/// The cipher of the demo's playlists: AES-256-GCM (NIST SP 800-38D), done by libcrypto. A key is a text of 64
/// hexadecimal digits, its 32 bytes. What is sealed is a nonce of 12 bytes, the encrypted text and a tag of 16 bytes.
class DemoCipher final {
 public:
  static std::string randomKey();

  /// Throws `std::runtime_error` when libcrypto refuses.
  static std::string sealed(const std::string& key, std::string_view text);

  /// Nothing when the key is another one or the bytes were changed.
  static std::optional<std::string> opened(const std::string& key, std::string_view sealed);
};

}  // namespace site
