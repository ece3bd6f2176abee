#include "UrlReference.h"

#include <algorithm>
#include <optional>

#include <strings.h>

namespace zrdl {
namespace {

/// The components of RFC 3986, section 3, without their delimiters. An absent one differs from an empty one.
struct Components {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;
};

/// Cuts off what follows the first `delimiter`.
std::optional<std::string_view> cutAfter(std::string_view& text, char delimiter) {
  const std::size_t at = text.find(delimiter);
  if (at == std::string_view::npos) return std::nullopt;
  const std::string_view rest = text.substr(at + 1);
  text = text.substr(0, at);
  return rest;
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isScheme(std::string_view text) {
  constexpr std::string_view kOthers = "0123456789+-.";
  if (text.empty() || !isLetter(text.front())) return false;
  for (const char c : text) {
    if (!isLetter(c) && kOthers.find(c) == std::string_view::npos) return false;
  }
  return true;
}

Components split(std::string_view text) {
  Components parts;
  parts.fragment = cutAfter(text, '#');
  parts.query = cutAfter(text, '?');
  if (const std::size_t colon = text.find(':'); colon != std::string_view::npos && isScheme(text.substr(0, colon))) {
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    const std::size_t end = std::min(text.find('/'), text.size());
    parts.authority = text.substr(0, end);
    text.remove_prefix(end);
  }
  parts.path = text;
  return parts;
}

void dropLastSegment(std::string& path) {
  const std::size_t slash = path.rfind('/');
  path.resize(slash == std::string::npos ? 0 : slash);
}

/// Section 5.2.4.
std::string withoutDotSegments(std::string_view in) {
  std::string out;
  while (!in.empty()) {
    if (in.starts_with("../")) {
      in.remove_prefix(3);
    } else if (in.starts_with("./") || in.starts_with("/./")) {
      in.remove_prefix(2);
    } else if (in == "/.") {
      in = "/";
    } else if (in.starts_with("/../")) {
      in.remove_prefix(3);
      dropLastSegment(out);
    } else if (in == "/..") {
      in = "/";
      dropLastSegment(out);
    } else if (in == "." || in == "..") {
      in = {};
    } else {
      const std::size_t end = std::min(in.find('/', 1), in.size());
      out += in.substr(0, end);
      in.remove_prefix(end);
    }
  }
  return out;
}

/// Section 5.2.3: the relative path beside the last segment of the base's.
std::string merged(const Components& base, std::string_view path) {
  if (base.authority && base.path.empty()) return std::string("/").append(path);
  return std::string(base.path.substr(0, base.path.rfind('/') + 1)) + std::string(path);
}

/// Section 5.3.
std::string joined(const Components& parts, std::string_view path) {
  std::string text;
  if (parts.scheme) text.append(*parts.scheme).append(":");
  if (parts.authority) text.append("//").append(*parts.authority);
  text += path;
  if (parts.query) text.append("?").append(*parts.query);
  if (parts.fragment) text.append("#").append(*parts.fragment);
  return text;
}

}  // namespace

std::string resolvedUrl(std::string_view base, std::string_view reference) {
  const Components from = split(base);
  Components to = split(reference);
  if (to.scheme) return joined(to, withoutDotSegments(to.path));
  to.scheme = from.scheme;
  if (to.authority) return joined(to, withoutDotSegments(to.path));
  to.authority = from.authority;
  if (to.path.empty()) {
    if (!to.query) to.query = from.query;
    return joined(to, from.path);
  }
  return joined(to, withoutDotSegments(to.path.starts_with('/') ? std::string(to.path) : merged(from, to.path)));
}

bool isWebAddress(std::string_view address) {
  const Components parts = split(address);
  if (!parts.scheme || !parts.authority || parts.authority->empty()) return false;
  const std::string scheme(*parts.scheme);
  return ::strcasecmp(scheme.c_str(), "http") == 0 || ::strcasecmp(scheme.c_str(), "https") == 0;
}

}  // namespace zrdl
