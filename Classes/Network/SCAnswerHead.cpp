#include "SCAnswerHead.h"

#include <algorithm>
#include <limits>

#include "SCFieldText.h"

bool SCAnswerHead::addLine(std::string_view line) {
  const std::string_view text = SCFieldText::trimmed(line);
  if (text.empty()) {
    if (finalStatus() != 0) return true;
    *this = SCAnswerHead();
  } else if (status == 0 && text.starts_with("HTTP/")) {
    const std::size_t code = std::min(text.find(' '), text.size() - 1) + 1;
    status = static_cast<int>(SCFieldText::wholeNumber(text.substr(code, 3)).value_or(0));
  } else if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) {
    addField(text.substr(0, colon), SCFieldText::trimmed(text.substr(colon + 1)));
  }
  return false;
}

void SCAnswerHead::addField(std::string_view name, std::string_view value) {
  using Text = SCFieldText;
  if (Text::sameWord(name, "Transfer-Encoding")) {
    chunked_ = true;
    contentLength.reset();
  } else if (Text::sameWord(name, "Content-Length")) {
    if (!chunked_) addLengths(value);
  } else if (Text::sameWord(name, "Content-Range")) {
    contentRange = value;
  } else if (Text::sameWord(name, "Content-Type")) {
    contentType = value;
  } else if (Text::sameWord(name, "Content-Encoding")) {
    contentEncoding = value;
  } else if (Text::sameWord(name, "ETag")) {
    etag = value;
  } else if (Text::sameWord(name, "Last-Modified")) {
    lastModified = value;
  } else if (Text::sameWord(name, "Date")) {
    date = value;
  } else if (Text::sameWord(name, "Location")) {
    location = value;
  }
}

/// One length, or the same one several times with commas between them.
void SCAnswerHead::addLengths(std::string_view list) {
  std::size_t comma = 0;
  for (; comma != std::string_view::npos; list.remove_prefix(std::min(comma, list.size() - 1) + 1)) {
    comma = list.find(',');
    const std::optional<std::int64_t> length = SCFieldText::wholeNumber(SCFieldText::trimmed(list.substr(0, comma)));
    lengthsDiffer_ = lengthsDiffer_ || !length || contentLength.value_or(*length) != *length;
    contentLength = length;
  }
}

bool SCAnswerHead::isRedirect() const noexcept {
  const bool moves = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
  return moves && !location.empty();
}

bool SCAnswerHead::isIdentity() const noexcept {
  return contentEncoding.empty() || SCFieldText::sameWord(contentEncoding, "identity");
}

std::optional<SCContentRange> SCContentRange::parse(std::string_view text) {
  constexpr std::string_view kUnit = "bytes ";
  if (!SCFieldText::beginsWithWord(text, kUnit)) return std::nullopt;
  text.remove_prefix(kUnit.size());
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const std::string_view span = text.substr(0, slash);
  const std::string_view size = text.substr(slash + 1);

  SCContentRange range;
  range.total = SCFieldText::wholeNumber(size);
  if (!range.total && size != "*") return std::nullopt;
  if (span == "*") return range.total ? std::optional(range) : std::nullopt;

  const std::size_t dash = span.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  range.first = SCFieldText::wholeNumber(span.substr(0, dash));
  range.last = SCFieldText::wholeNumber(span.substr(dash + 1));
  const bool sound = range.first && range.last && *range.first <= *range.last &&
                     *range.last < range.total.value_or(std::numeric_limits<std::int64_t>::max());
  return sound ? std::optional(range) : std::nullopt;
}
