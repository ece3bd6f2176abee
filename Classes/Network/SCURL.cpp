#include "SCURL.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "ZRAscii.h"
#include "ZRValue.h"

namespace {

bool isAlphanumeric(char c) {
  return ZRAscii::isLetter(c) || ZRAscii::isDigit(c);
}

bool isUnreserved(char c) {
  return isAlphanumeric(c) || std::string_view("-._~").find(c) != std::string_view::npos;
}

bool isLegal(char c) {
  return isUnreserved(c) || std::string_view("%:/?#[]@!$&'()*+,;=").find(c) != std::string_view::npos;
}

bool isTokenCharacter(char c) {
  return isAlphanumeric(c) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

template <class Keep>
std::string escape(std::string_view text, Keep keep) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (keep(c)) {
      escaped += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return escaped;
}

std::string encodedQuery(const ZRDictionary& parameters) {
  std::string query;
  for (const auto& [key, value] : parameters) {
    const std::optional<std::string> text = value.textValue();
    if (!text) continue;
    if (!query.empty()) query += '&';
    query += SCURL::escapeComponent(key) + "=" + SCURL::escapeComponent(*text);
  }
  return query;
}

}  // namespace

std::string SCURL::build(std::string_view address, const ZRDictionary& queryParameters) {
  const std::string query = encodedQuery(queryParameters);
  if (query.empty()) return escapeIllegal(address);
  const std::size_t fragmentAt = std::min(address.find('#'), address.size());
  std::string built = escapeIllegal(address.substr(0, fragmentAt));
  if (built.find('?') == std::string::npos) {
    built += '?';
  } else if (!built.ends_with('?') && !built.ends_with('&')) {
    built += '&';
  }
  return built + query + escapeIllegal(address.substr(fragmentAt));
}

std::string SCURL::escapeIllegal(std::string_view text) {
  return escape(text, isLegal);
}

std::string SCURL::escapeComponent(std::string_view text) {
  return escape(text, isUnreserved);
}

std::string SCURL::scheme(std::string_view address) {
  const std::size_t colon = address.find(':');
  if (colon == std::string_view::npos || colon == 0 || !ZRAscii::isLetter(address.front())) return {};
  std::string scheme(address.substr(0, colon));
  const bool isScheme =
      std::ranges::all_of(scheme, [](char c) { return isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; });
  if (!isScheme) return {};
  std::ranges::transform(scheme, scheme.begin(), ZRAscii::lowered);
  return scheme;
}

bool SCURL::isHttp(std::string_view address) {
  const std::string name = scheme(address);
  if (name != "http" && name != "https") return false;
  const std::string_view rest = address.substr(name.size());
  return rest.starts_with("://") && rest.size() > 3 && std::string_view("/?#").find(rest[3]) == std::string_view::npos;
}

std::string SCURL::forLog(std::string_view address) {
  std::string shown(address.substr(0, address.find_first_of("?#&")));
  const std::size_t hostAt = shown.find("://");
  if (hostAt == std::string::npos) return shown;
  const std::size_t pathAt = std::min(shown.find('/', hostAt + 3), shown.size());
  const std::size_t userEnd = shown.rfind('@', pathAt);
  if (userEnd != std::string::npos && userEnd > hostAt) shown.erase(hostAt + 3, userEnd - hostAt - 2);
  return shown;
}

std::string SCURL::headerLine(std::string_view name, std::string_view value) {
  const bool sound = !name.empty() && std::ranges::all_of(name, isTokenCharacter) &&
                     value.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
  if (!sound) return {};
  return std::string(name).append(": ").append(value);
}
