#include "ZRBase64.h"

#include <array>
#include <cstddef>

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 64;

constexpr std::array<std::uint8_t, 256> makeDigits() {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return digits;
}

/// The value of each character as a digit; `kNoDigit` outside the alphabet.
constexpr std::array<std::uint8_t, 256> kDigits = makeDigits();

/// Appends the four characters of one to three bytes.
void appendGroup(std::string& text, std::span<const std::uint8_t> bytes) {
  const unsigned b0 = bytes[0];
  const unsigned b1 = bytes.size() > 1 ? bytes[1] : 0U;
  const unsigned b2 = bytes.size() > 2 ? bytes[2] : 0U;
  text += kAlphabet[b0 >> 2];
  text += kAlphabet[(b0 & 0x03) << 4 | b1 >> 4];
  text += bytes.size() > 1 ? kAlphabet[(b1 & 0x0F) << 2 | b2 >> 6] : '=';
  text += bytes.size() > 2 ? kAlphabet[b2 & 0x3F] : '=';
}

}  // namespace

std::string ZRBase64::encode(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (; bytes.size() > 3; bytes = bytes.subspan(3)) appendGroup(text, bytes.first(3));
  if (!bytes.empty()) appendGroup(text, bytes);
  return text;
}

std::string ZRBase64::encode(std::string_view text) {
  return encode(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::string ZRBase64::encodeInLines(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kBytesInLine = 48;
  std::string text;
  for (; bytes.size() > kBytesInLine; bytes = bytes.subspan(kBytesInLine)) {
    text += encode(bytes.first(kBytesInLine)) + "\r\n";
  }
  return text + encode(bytes);
}

std::vector<std::uint8_t> ZRBase64::decode(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  unsigned bits = 0;
  unsigned bitCount = 0;
  for (const char character : text) {
    const std::uint8_t digit = kDigits[static_cast<unsigned char>(character)];
    if (digit == kNoDigit) continue;
    bits = (bits << 6 | digit) & 0xFFFF;
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount));
  }
  const bool strayDigit = bitCount == 6;  // a group of one character, which encodes nothing
  return strayDigit ? std::vector<std::uint8_t>() : bytes;
}
