#include "OptionChecks.h"

#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>
#include <string_view>

#include "UrlReference.h"

namespace zrdl {
namespace {

std::optional<std::int64_t> parsedByteCount(const std::string& text) {
  constexpr std::string_view kSuffixes = "bkmgBKMG";
  std::int64_t number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  const std::size_t suffix = end == textEnd ? 0 : kSuffixes.find(*end);
  const bool isSound = error == std::errc() && textEnd - end <= 1 && suffix != std::string_view::npos && number >= 0;
  const auto shift = suffix % 4 * 10;
  if (!isSound || number > std::numeric_limits<std::int64_t>::max() >> shift) return std::nullopt;
  return number << shift;
}

}  // namespace

std::string oneComponent(const std::string& text) {
  const bool usable = !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
  return usable ? "" : "\"" + text + "\" is not the name of one folder";
}

std::string webAddress(const std::string& text) {
  return site::isWebAddress(text) ? "" : "\"" + text + "\" is not an http or https address";
}

std::string proxyAddress(const std::string& text) {
  const bool isProxy = site::isWebAddress(text) || text.starts_with("socks5h://");
  return isProxy ? "" : "\"" + text + "\" is not an http or socks5h address";
}

std::string nameAndValue(const std::string& text) {
  return text.find('=') != std::string::npos && text.front() != '=' ? "" : "\"" + text + "\" is not NAME=VALUE";
}

std::string numberOf64Bits(const std::string& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? "" : text + " is not a number in range";
}

std::string byteCountText(const std::string& text) {
  return parsedByteCount(text) ? "" : "\"" + text + "\" is not a number of bytes such as 500k or 2M";
}

std::int64_t byteCount(const std::string& text) {
  return parsedByteCount(text).value_or(0);
}

std::string absolutePath(const std::string& path) {
  return std::filesystem::absolute(path).lexically_normal().string();
}

}  // namespace zrdl
