#include "SCVersion.h"

#include <algorithm>
#include <chrono>

#include "SCFieldText.h"
#include "ZRAscii.h"

namespace {

constexpr std::string_view kTag = "ETag: ";
constexpr std::string_view kDate = "Last-Modified: ";
constexpr std::string_view kWeakDate = "Last-Modified: W/";
constexpr std::string_view kLength = "Length: ";

/// A text that one line can hold.
bool isTag(std::string_view text) {
  return !text.empty() && text.size() <= 1024 && std::ranges::all_of(text, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte != 0x7F;
  });
}

/// An opaque tag in quotes (RFC 9110, section 8.8.3).
bool isStrongTag(std::string_view text) {
  if (!isTag(text) || text.size() < 2 || !text.starts_with('"') || !text.ends_with('"')) return false;
  return text.substr(1, text.size() - 2).find_first_of(" \"") == std::string_view::npos;
}

/// A date in the one form that servers send (RFC 9110, section 5.6.7).
std::optional<std::chrono::sys_seconds> momentOf(std::string_view date) {
  constexpr std::string_view kShape = "Aaa, 00 Aaa 0000 00:00:00 GMT";
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const bool hasShape = std::ranges::equal(date, kShape, [](char c, char shape) {
    if (shape == '0') return ZRAscii::isDigit(c);
    return shape == 'A' || shape == 'a' ? ZRAscii::isLetter(c) : c == shape;
  });
  if (!hasShape) return std::nullopt;
  const auto number = [date](std::size_t at, std::size_t size) {
    return static_cast<int>(SCFieldText::wholeNumber(date.substr(at, size)).value_or(0));
  };
  const auto month = static_cast<unsigned>(kMonths.find(date.substr(8, 3)) / 3 + 1);  // an unknown one is not ok
  const std::chrono::year_month_day day(std::chrono::year(number(12, 4)), std::chrono::month(month),
                                        std::chrono::day(static_cast<unsigned>(number(5, 2))));
  if (!day.ok()) return std::nullopt;
  return std::chrono::sys_days(day) + std::chrono::hours(number(17, 2)) + std::chrono::minutes(number(20, 2)) +
         std::chrono::seconds(number(23, 2));
}

/// Takes the first line of `text` when it begins so; else an empty one, and leaves it there.
std::string_view takeLine(std::string_view& text, std::string_view beginning) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos || !text.starts_with(beginning)) return {};
  const std::string_view value = text.substr(beginning.size(), end - beginning.size());
  text.remove_prefix(end + 1);
  return value;
}

bool differ(std::string_view a, std::string_view b) {
  return !a.empty() && !b.empty() && a != b;
}

}  // namespace

SCVersion SCVersion::of(const SCAnswerHead& head, std::optional<std::int64_t> length) {
  SCVersion version{{}, {}, false, length};
  if (isTag(head.etag)) version.etag = head.etag;
  const auto modified = momentOf(head.lastModified);
  const auto answered = momentOf(head.date);
  if (modified) version.lastModified = head.lastModified;
  version.hasStrongDate = modified && answered && *answered - *modified >= std::chrono::seconds(1);
  return version;
}

// A text that was cut short does not end with a line of its length.
SCVersion SCVersion::fromFile(std::string_view text) {
  std::string_view rest = text;
  SCVersion version;
  version.etag = takeLine(rest, kTag);
  version.lastModified = takeLine(rest, kWeakDate);
  if (version.lastModified.empty()) {
    version.lastModified = takeLine(rest, kDate);
    version.hasStrongDate = !version.lastModified.empty();
  }
  version.length = SCFieldText::wholeNumber(takeLine(rest, kLength));
  const bool isSound = (version.etag.empty() || isTag(version.etag)) &&
                       (version.lastModified.empty() || momentOf(version.lastModified)) && version.fileText() == text;
  return isSound ? version : SCVersion();
}

std::string SCVersion::fileText() const {
  std::string text;
  if (!etag.empty()) text.append(kTag).append(etag).append("\n");
  if (!lastModified.empty()) text.append(hasStrongDate ? kDate : kWeakDate).append(lastModified).append("\n");
  return text.append(kLength).append(length ? std::to_string(*length) : "*").append("\n");
}

std::string SCVersion::ifRange() const {
  if (isStrongTag(etag)) return etag;
  return etag.empty() && hasStrongDate ? lastModified : std::string();
}

bool SCVersion::contradicts(const SCVersion& other) const {
  return differ(etag, other.etag) || differ(lastModified, other.lastModified) ||
         (length && other.length && length != other.length);
}

bool SCVersion::isContinuedBy(const SCVersion& answered) const {
  if (!isKnown() || contradicts(answered)) return false;
  if (!ifRange().empty()) return true;
  return hasNameOf(answered) && (hasName() || answered.length);
}

bool SCVersion::isCompletedBy(const SCVersion& answered, std::int64_t size) const {
  if (!isKnown() || contradicts(answered) || answered.length != size) return false;
  return length || !ifRange().empty() || hasNameOf(answered);
}

SCVersion SCVersion::with(const SCVersion& other) const {
  SCVersion version = *this;
  if (etag.empty()) version.etag = other.etag;
  if (lastModified.empty()) {
    version.lastModified = other.lastModified;
    version.hasStrongDate = other.hasStrongDate;
  }
  if (!length) version.length = other.length;
  return version;
}
