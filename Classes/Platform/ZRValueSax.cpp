#include "ZRValueSax.h"

#include <cstddef>
#include <exception>
#include <limits>
#include <map>
#include <span>
#include <utility>

namespace {

/// RFC 8949, section 3.1.
enum CborMajorType : unsigned { kNegativeInteger = 1, kByteString = 2, kTextString = 3 };

/// What every CBOR item begins with.
struct CborHead {
  unsigned majorType;
  bool hasArgument;  ///< false for an indefinite length and the reserved forms
  std::uint64_t argument;
};

/// Takes the next head off `bytes`; nothing when it is cut short.
std::optional<CborHead> takeHead(std::span<const std::uint8_t>& bytes) {
  const unsigned majorType = bytes[0] >> 5U;
  const unsigned info = bytes[0] & 0x1FU;
  bytes = bytes.subspan(1);
  if (info < 24) return CborHead{majorType, true, info};
  if (info > 27) return CborHead{majorType, false, 0};

  const std::size_t width = std::size_t{1} << (info - 24);
  if (bytes.size() < width) return std::nullopt;
  std::uint64_t argument = 0;
  for (const std::uint8_t byte : bytes.first(width)) argument = argument << 8U | byte;
  bytes = bytes.subspan(width);
  return CborHead{majorType, true, argument};
}

/// Whether the JSON library can be trusted with these bytes. It reads a string of indefinite length by recursion that
/// nothing bounds, and it wraps a negative integer below 64 bits; archives hold neither.
bool isSafeCbor(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::optional<CborHead> head = takeHead(bytes);
    if (!head) return false;
    if (head->majorType == kByteString || head->majorType == kTextString) {
      if (!head->hasArgument || head->argument > bytes.size()) return false;
      bytes = bytes.subspan(static_cast<std::size_t>(head->argument));
    }
    if (head->majorType == kNegativeInteger && head->argument > std::numeric_limits<std::int64_t>::max()) return false;
  }
  return true;
}

/// The entries with one of each key: in the first one's place, with the last one's value. The sorted index keeps this
/// from growing quadratic for a hostile document, whatever its keys.
ZRDictionary::Entries distinct(ZRDictionary::Entries entries) {
  ZRDictionary::Entries kept;
  kept.reserve(entries.size());  // the index below views its keys
  std::map<std::string_view, std::size_t> places;
  for (ZRDictionary::Entry& entry : entries) {
    const auto known = places.find(entry.first);
    if (known != places.end()) {
      kept[known->second].second = std::move(entry.second);
    } else {
      kept.push_back(std::move(entry));
      places.emplace(kept.back().first, kept.size() - 1);
    }
  }
  return kept;
}

}  // namespace

std::optional<ZRValue> ZRValueSax::parseJson(std::string_view text) {
  try {
    ZRValueSax sax;
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &sax)) return std::nullopt;
    return std::move(sax.result_);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<ZRValue> ZRValueSax::parseCbor(const std::uint8_t* bytes, std::size_t size) {
  ZRValueSax sax;
  const auto cbor = nlohmann::json::input_format_t::cbor;
  if (!isSafeCbor({bytes, size}) || !nlohmann::json::sax_parse(bytes, bytes + size, &sax, cbor)) return std::nullopt;
  return std::move(sax.result_);
}

bool ZRValueSax::null() {
  return addScalar(ZRValue::null());
}

bool ZRValueSax::boolean(bool value) {
  return addScalar(value);
}

bool ZRValueSax::number_integer(number_integer_t value) {
  return addScalar(value);
}

bool ZRValueSax::number_unsigned(number_unsigned_t value) {
  return addScalar(value);
}

bool ZRValueSax::number_float(number_float_t value, const string_t&) {
  return addScalar(value);
}

bool ZRValueSax::string(string_t& value) {
  return addScalar(std::move(value));
}

bool ZRValueSax::binary(binary_t& value) {
  return addScalar(ZRValue::Bytes(std::move(value)));
}

bool ZRValueSax::start_object(std::size_t) {
  return open(true);
}

bool ZRValueSax::key(string_t& key) {
  levels_.back().key = std::move(key);
  return true;
}

bool ZRValueSax::end_object() {
  ZRDictionary dictionary = ZRDictionary::withDistinctEntries(distinct(std::move(levels_.back().entries)));
  levels_.pop_back();
  return add(std::move(dictionary));
}

bool ZRValueSax::start_array(std::size_t) {
  return open(false);
}

bool ZRValueSax::end_array() {
  ZRValue::List items = std::move(levels_.back().items);
  levels_.pop_back();
  return add(std::move(items));
}

bool ZRValueSax::parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) {
  return false;
}

bool ZRValueSax::addScalar(ZRValue value) {
  return ++values_ <= kMaxValues && add(std::move(value));
}

bool ZRValueSax::add(ZRValue value) {
  if (levels_.empty()) {
    result_ = std::move(value);
    return true;
  }
  Level& level = levels_.back();
  if (level.isObject) {
    level.entries.emplace_back(std::move(level.key), std::move(value));
  } else {
    level.items.push_back(std::move(value));
  }
  return true;
}

// The sizes that a document announces are not believed, so containers grow with what really arrives.
bool ZRValueSax::open(bool isObject) {
  if (levels_.size() == kMaxDepth || ++values_ > kMaxValues) return false;
  levels_.push_back({isObject, {}, {}, {}});
  return true;
}
