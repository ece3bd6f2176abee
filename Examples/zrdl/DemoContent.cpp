#include "DemoContent.h"

#include <algorithm>
#include <fstream>
#include <string_view>

namespace zrdl {
namespace {

constexpr std::size_t kPiece = 256UL * 1024;
constexpr std::uint32_t kFtypSize = 24;

std::string bigEndian(std::uint32_t value) {
  std::string text;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) text += static_cast<char>(value >> shift);
  return text;
}

/// Boxes of ISO/IEC 14496-12: size, type, and for ftyp the major brand, its version and the compatible brands.
const std::string& header() {
  static const std::string text = bigEndian(kFtypSize) + "ftypisom" + bigEndian(0x200) + "isommp41" +
                                  bigEndian(static_cast<std::uint32_t>(DemoContent::kSize - kFtypSize)) + "mdat";
  return text;
}

/// The byte at a position, by the splitmix64 generator.
char randomByte(std::uint64_t position) {
  std::uint64_t x = (position / 8 + 1) * 0x9E3779B97F4A7C15ULL;
  x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9ULL;
  x = (x ^ (x >> 27U)) * 0x94D049BB133111EBULL;
  x ^= x >> 31U;
  return static_cast<char>(x >> (position % 8 * 8));
}

}  // namespace

std::string DemoContent::bytes(std::uint64_t offset, std::size_t length) {
  std::string piece(length, '\0');
  for (std::size_t at = 0; at < length; ++at) {
    const std::uint64_t position = offset + at;
    piece[at] = position < header().size() ? header()[position] : randomByte(position);
  }
  return piece;
}

bool DemoContent::isIn(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string piece(kPiece, '\0');
  for (std::uint64_t offset = 0; offset < kSize; offset += piece.size()) {
    piece.resize(std::min<std::uint64_t>(kPiece, kSize - offset));
    if (!in.read(piece.data(), static_cast<std::streamsize>(piece.size()))) return false;
    if (piece != bytes(offset, piece.size())) return false;
  }
  return in.peek() == std::ifstream::traits_type::eof();
}

}  // namespace zrdl
