#include "DemoContent.h"

#include <algorithm>
#include <fstream>

namespace site {
namespace {

constexpr std::size_t kPiece = 256UL * 1024;
constexpr std::uint32_t kFtypSize = 24;
constexpr std::size_t kWordSize = sizeof(std::uint64_t);

std::string bigEndian(std::uint32_t value) {
  std::string text;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) text += static_cast<char>(value >> shift);
  return text;
}

}  // namespace

/// Boxes of ISO/IEC 14496-12: size, type, and for ftyp the major brand, its version and the compatible brands.
std::string DemoContent::header() const {
  return bigEndian(kFtypSize) + "ftypisom" + bigEndian(0x200) + "isommp41" + bigEndian(size_ - kFtypSize) + "mdat";
}

/// The splitmix64 generator.
std::uint64_t DemoContent::randomWord(std::uint64_t index) const {
  std::uint64_t x = (seed_ << 32U) + (index + 1) * 0x9E3779B97F4A7C15ULL;
  x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9ULL;
  x = (x ^ (x >> 27U)) * 0x94D049BB133111EBULL;
  return x ^ (x >> 31U);
}

std::string DemoContent::bytes(std::uint64_t offset, std::size_t length) const {
  const std::size_t before = offset % kWordSize;
  std::string piece;
  piece.reserve(before + length + kWordSize);
  for (std::uint64_t index = offset / kWordSize; piece.size() < before + length; ++index) {
    const std::uint64_t word = randomWord(index);
    piece.append(reinterpret_cast<const char*>(&word), kWordSize);
  }
  piece = piece.substr(before, length);
  const std::string start = header();
  for (std::size_t at = 0; at < length && offset + at < start.size(); ++at) piece[at] = start[offset + at];
  return piece;
}

bool DemoContent::isIn(const std::string& file) const {
  std::ifstream in(file, std::ios::binary);
  std::string piece(kPiece, '\0');
  for (std::uint64_t offset = 0; offset < size_; offset += piece.size()) {
    piece.resize(std::min<std::uint64_t>(kPiece, size_ - offset));
    if (!in.read(piece.data(), static_cast<std::streamsize>(piece.size()))) return false;
    if (piece != bytes(offset, piece.size())) return false;
  }
  return in.peek() == std::ifstream::traits_type::eof();
}

}  // namespace site
