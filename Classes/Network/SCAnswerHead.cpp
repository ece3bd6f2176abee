#include "SCAnswerHead.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

bool sameWord(std::string_view a, std::string_view b) {
  const auto lowered = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::ranges::equal(a, b, {}, lowered, lowered);
}

/// Digits and nothing else.
std::optional<std::int64_t> wholeNumber(std::string_view text) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || text.front() == '-' || error != std::errc{} || stop != end) return std::nullopt;
  return number;
}

/// An opaque tag in quotes (RFC 9110, section 8.8.3).
bool isStrongTag(std::string_view text) {
  if (text.size() < 2 || text.size() > 1024 || !text.starts_with('"') || !text.ends_with('"')) return false;
  return std::ranges::all_of(text.substr(1, text.size() - 2), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte != '"' && byte != 0x7F;
  });
}

/// A date in the one form that servers send (RFC 9110, section 5.6.7).
bool isHttpDate(std::string_view text) {
  constexpr std::string_view kShape = "Aaa, 00 Aaa 0000 00:00:00 GMT";
  return std::ranges::equal(text, kShape, [](char c, char shape) {
    if (shape == '0') return c >= '0' && c <= '9';
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return shape == 'A' || shape == 'a' ? isLetter : c == shape;
  });
}

constexpr std::string_view kTagPrefix = "ETag: ";
constexpr std::string_view kDatePrefix = "Last-Modified: ";

}  // namespace

bool SCAnswerHead::addLine(std::string_view line) {
  const std::string_view text = trimmed(line);
  if (text.starts_with("HTTP/")) {
    *this = SCAnswerHead();
    const std::size_t space = text.find(' ');
    if (space != std::string_view::npos) status = static_cast<int>(wholeNumber(text.substr(space + 1, 3)).value_or(0));
    return false;
  }
  if (text.empty()) return status >= 200;
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos) addField(text.substr(0, colon), trimmed(text.substr(colon + 1)));
  return false;
}

void SCAnswerHead::addField(std::string_view name, std::string_view value) {
  if (sameWord(name, "Transfer-Encoding")) {
    chunked_ = true;
    contentLength.reset();
  } else if (sameWord(name, "Content-Length")) {
    if (!chunked_) contentLength = wholeNumber(value);
  } else if (sameWord(name, "Content-Range")) {
    contentRange = value;
  } else if (sameWord(name, "Content-Type")) {
    contentType = value;
  } else if (sameWord(name, "Content-Encoding")) {
    contentEncoding = value;
  } else if (sameWord(name, "ETag")) {
    etag = value;
  } else if (sameWord(name, "Last-Modified")) {
    lastModified = value;
  } else if (sameWord(name, "Location")) {
    location = value;
  }
}

bool SCAnswerHead::isRedirect() const noexcept {
  const bool moves = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
  return moves && !location.empty();
}

bool SCAnswerHead::isIdentity() const noexcept {
  return contentEncoding.empty() || sameWord(contentEncoding, "identity");
}

std::optional<SCContentRange> SCContentRange::parse(std::string_view text) {
  constexpr std::string_view kUnit = "bytes ";
  if (text.size() < kUnit.size() || !sameWord(text.substr(0, kUnit.size()), kUnit)) return std::nullopt;
  text.remove_prefix(kUnit.size());
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const std::string_view span = text.substr(0, slash);
  const std::string_view size = text.substr(slash + 1);

  SCContentRange range;
  range.total = wholeNumber(size);
  if (!range.total && size != "*") return std::nullopt;
  if (span == "*") return range.total ? std::optional(range) : std::nullopt;

  const std::size_t dash = span.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  range.first = wholeNumber(span.substr(0, dash));
  range.last = wholeNumber(span.substr(dash + 1));
  const bool sound = range.first && range.last && *range.first <= *range.last &&
                     *range.last < range.total.value_or(std::numeric_limits<std::int64_t>::max());
  return sound ? std::optional(range) : std::nullopt;
}

std::optional<SCValidator> SCValidator::fromAnswer(const SCAnswerHead& head) {
  if (isStrongTag(head.etag)) return SCValidator{head.etag, {}};
  if (isHttpDate(head.lastModified)) return SCValidator{{}, head.lastModified};
  return std::nullopt;
}

std::optional<SCValidator> SCValidator::fromFile(std::string_view text) {
  if (!text.ends_with('\n')) return std::nullopt;  // cut short
  text.remove_suffix(1);
  SCValidator validator;
  if (text.starts_with(kTagPrefix)) validator.etag = text.substr(kTagPrefix.size());
  if (text.starts_with(kDatePrefix)) validator.lastModified = text.substr(kDatePrefix.size());
  if (isStrongTag(validator.etag) || isHttpDate(validator.lastModified)) return validator;
  return std::nullopt;
}

std::string SCValidator::fileText() const {
  return std::string(etag.empty() ? kDatePrefix : kTagPrefix).append(ifRange()).append("\n");
}

bool SCValidator::agreesWith(const SCAnswerHead& head) const {
  if (!etag.empty()) return head.etag.empty() || head.etag == etag;
  return head.lastModified.empty() || head.lastModified == lastModified;
}
