#include "DemoCipher.h"

#include <array>
#include <memory>
#include <stdexcept>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace site {
namespace {

constexpr std::size_t kKeySize = 32;
constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kTagSize = 16;

using Key = std::array<unsigned char, kKeySize>;
using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

Context newContext() {
  return {EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free};
}

std::optional<Key> keyOf(const std::string& text) {
  Key key{};
  std::size_t size = 0;
  if (OPENSSL_hexstr2buf_ex(key.data(), key.size(), &size, text.c_str(), '\0') != 1) return std::nullopt;
  return size == key.size() ? std::optional(key) : std::nullopt;
}

unsigned char* bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string randomBytes(std::size_t size) {
  std::string random(size, '\0');
  if (RAND_bytes(bytes(random), static_cast<int>(size)) != 1) throw std::runtime_error("no random bytes");
  return random;
}

}  // namespace

std::string DemoCipher::randomKey() {
  const std::string key = randomBytes(kKeySize);
  std::array<char, 2 * kKeySize + 1> digits{};
  OPENSSL_buf2hexstr_ex(digits.data(), digits.size(), nullptr, bytes(std::string_view(key)), kKeySize, '\0');
  return digits.data();
}

std::string DemoCipher::sealed(const std::string& key, std::string_view text) {
  const std::optional<Key> keyBytes = keyOf(key);
  const std::string nonce = randomBytes(kNonceSize);
  std::string encrypted(text.size(), '\0');
  std::string tag(kTagSize, '\0');
  int size = 0;
  const Context context = newContext();
  const bool done =
      keyBytes && context &&
      EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, keyBytes->data(), bytes(std::string_view(nonce))) ==
          1 &&
      EVP_EncryptUpdate(context.get(), bytes(encrypted), &size, bytes(text), static_cast<int>(text.size())) == 1 &&
      EVP_EncryptFinal_ex(context.get(), bytes(encrypted) + size, &size) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTagSize, tag.data()) == 1;
  if (!done) throw std::runtime_error("the text cannot be encrypted");
  return nonce + encrypted + tag;
}

std::optional<std::string> DemoCipher::opened(const std::string& key, std::string_view sealed) {
  const std::optional<Key> keyBytes = keyOf(key);
  if (!keyBytes || sealed.size() < kNonceSize + kTagSize) return std::nullopt;
  const std::string_view encrypted = sealed.substr(kNonceSize, sealed.size() - kNonceSize - kTagSize);
  std::string tag(sealed.substr(sealed.size() - kTagSize));
  std::string text(encrypted.size(), '\0');
  int size = 0;
  const Context context = newContext();
  const bool done =
      context && EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, keyBytes->data(), bytes(sealed)) == 1 &&
      EVP_DecryptUpdate(context.get(), bytes(text), &size, bytes(encrypted), static_cast<int>(encrypted.size())) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTagSize, tag.data()) == 1 &&
      EVP_DecryptFinal_ex(context.get(), bytes(text) + size, &size) == 1;
  return done ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace site
