#include "ZRValue.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>
#include <type_traits>
#include <utility>

#include "ZRAscii.h"

namespace {

constexpr auto kMaxSigned = std::numeric_limits<std::int64_t>::max();
constexpr auto kMinSigned = std::numeric_limits<std::int64_t>::min();
constexpr auto kMaxUnsigned = std::numeric_limits<std::uint64_t>::max();

std::string_view withoutLeadingSpace(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

/// A number as it stands in a text: its sign, and the rest from there on.
struct Numeral {
  bool negative = false;
  std::string_view rest;
};

Numeral leadingNumeral(std::string_view text) {
  text = withoutLeadingSpace(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return {negative, text};
}

/// The digits that `text` begins with, held at the upper bound.
std::uint64_t leadingDigits(std::string_view text) {
  std::uint64_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  return parsed.ec == std::errc::result_out_of_range ? kMaxUnsigned : number;
}

std::int64_t signedIn(std::string_view text) {
  const auto [negative, rest] = leadingNumeral(text);
  const std::uint64_t size = leadingDigits(rest);
  if (size > static_cast<std::uint64_t>(kMaxSigned)) return negative ? kMinSigned : kMaxSigned;
  return negative ? -static_cast<std::int64_t>(size) : static_cast<std::int64_t>(size);
}

std::uint64_t unsignedIn(std::string_view text) {
  const auto [negative, rest] = leadingNumeral(text);
  return negative ? 0 : leadingDigits(rest);
}

/// Whether a decimal number too large or too small for a double is a small one.
bool isTiny(std::string_view numeral) {
  const std::size_t exponent = numeral.find_first_of("eE");
  if (exponent != std::string_view::npos) return numeral.substr(exponent + 1).starts_with('-');
  return numeral.substr(0, numeral.find('.')).find_first_not_of('0') == std::string_view::npos;
}

double doubleIn(std::string_view text) {
  const auto [negative, rest] = leadingNumeral(text);
  const std::string_view digits = rest.substr(rest.starts_with('.') ? 1 : 0);
  if (digits.empty() || !ZRAscii::isDigit(digits.front())) return 0;  // "inf" and "nan" are no decimal numbers
  double number = 0;
  const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (parsed.ec == std::errc::result_out_of_range) {
    const std::string_view numeral = rest.substr(0, static_cast<std::size_t>(parsed.ptr - rest.data()));
    number = isTiny(numeral) ? 0 : HUGE_VAL;
  }
  return negative ? -number : number;
}

bool boolIn(std::string_view text) {
  const std::string_view word = withoutLeadingSpace(text);
  const bool isYes = !word.empty() && std::string_view("YyTt").find(word.front()) != std::string_view::npos;
  return isYes || doubleIn(word) != 0;
}

// The bounds below are powers of two, which a double holds exactly.

std::int64_t signedFrom(double number) {
  if (std::isnan(number)) return 0;
  if (number >= 0x1p63) return kMaxSigned;
  if (number < -0x1p63) return kMinSigned;
  return static_cast<std::int64_t>(number);
}

std::uint64_t unsignedFrom(double number) {
  if (std::isnan(number) || number <= 0) return 0;
  if (number >= 0x1p64) return kMaxUnsigned;
  return static_cast<std::uint64_t>(number);
}

/// The shortest decimal that reads back as `number`; an exponent only where the plain form would be long.
std::optional<std::string> textFrom(double number) {
  if (!std::isfinite(number)) return std::nullopt;
  const double size = std::fabs(number);
  const bool plain = size == 0 || (size >= 1e-4 && size < 1e16);
  char buffer[32];
  const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
  const auto written = std::to_chars(std::begin(buffer), std::end(buffer), number, format);
  return std::string(buffer, written.ptr);
}

}  // namespace

ZRValue::ZRValue() noexcept = default;
ZRValue::ZRValue(double value) : storage_(value) {}
ZRValue::ZRValue(std::string value) : storage_(std::move(value)) {}
ZRValue::ZRValue(std::string_view value) : storage_(std::string(value)) {}
ZRValue::ZRValue(Bytes value) : storage_(std::move(value)) {}
ZRValue::ZRValue(List value) : storage_(std::move(value)) {}
ZRValue::ZRValue(ZRDictionary value) : storage_(std::move(value)) {}

ZRValue::ZRValue(const char* value) {
  if (value != nullptr) storage_ = std::string(value);
}

ZRValue::ZRValue(ZRRequestHandler value) {
  if (value) storage_ = std::move(value);
}

ZRValue::ZRValue(ZRRecordHandler value) {
  if (value) storage_ = std::move(value);
}

ZRValue ZRValue::null() {
  ZRValue value;
  value.storage_ = Null();
  return value;
}

ZRValue::Kind ZRValue::kind() const noexcept {
  static_assert(std::variant_size_v<decltype(storage_)> == static_cast<std::size_t>(Kind::RecordHandler) + 1);
  return static_cast<Kind>(storage_.index());
}

bool ZRValue::isNumber() const noexcept {
  return asSigned() != nullptr || asUnsigned() != nullptr || asDouble() != nullptr;
}

bool ZRValue::boolValue() const noexcept {
  if (const std::string* text = asText()) return boolIn(*text);
  const double number = doubleValue();
  return number != 0 && !std::isnan(number);
}

std::int64_t ZRValue::int64Value() const noexcept {
  if (const bool* boolean = asBoolean()) return *boolean ? 1 : 0;
  if (const std::int64_t* number = asSigned()) return *number;
  if (const std::uint64_t* number = asUnsigned()) {
    return *number > static_cast<std::uint64_t>(kMaxSigned) ? kMaxSigned : static_cast<std::int64_t>(*number);
  }
  if (const double* number = asDouble()) return signedFrom(*number);
  if (const std::string* text = asText()) return signedIn(*text);
  return 0;
}

std::uint64_t ZRValue::uint64Value() const noexcept {
  if (const bool* boolean = asBoolean()) return *boolean ? 1 : 0;
  if (const std::int64_t* number = asSigned()) return *number < 0 ? 0 : static_cast<std::uint64_t>(*number);
  if (const std::uint64_t* number = asUnsigned()) return *number;
  if (const double* number = asDouble()) return unsignedFrom(*number);
  if (const std::string* text = asText()) return unsignedIn(*text);
  return 0;
}

double ZRValue::doubleValue() const noexcept {
  if (const bool* boolean = asBoolean()) return *boolean ? 1 : 0;
  if (const std::int64_t* number = asSigned()) return static_cast<double>(*number);
  if (const std::uint64_t* number = asUnsigned()) return static_cast<double>(*number);
  if (const double* number = asDouble()) return *number;
  if (const std::string* text = asText()) return doubleIn(*text);
  return 0;
}

std::optional<std::string> ZRValue::textValue() const {
  if (const std::string* text = asText()) return *text;
  if (const bool* boolean = asBoolean()) return *boolean ? "1" : "0";
  if (const std::int64_t* number = asSigned()) return std::to_string(*number);
  if (const std::uint64_t* number = asUnsigned()) return std::to_string(*number);
  if (const double* number = asDouble()) return textFrom(*number);
  return std::nullopt;
}

bool ZRValue::operator==(const ZRValue& other) const {
  if (kind() != other.kind()) return false;
  const auto sameAsInOther = [&other]<class T>(const T& value) {
    if constexpr (std::is_same_v<T, std::monostate> || std::is_same_v<T, Null>) {
      return true;
    } else if constexpr (std::is_same_v<T, ZRRequestHandler> || std::is_same_v<T, ZRRecordHandler>) {
      return false;
    } else {
      return value == std::get<T>(other.storage_);
    }
  };
  return std::visit(sameAsInOther, storage_);
}
