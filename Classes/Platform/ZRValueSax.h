#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "ZRValue.h"

/// Builds a ZRValue from the events of the JSON library's parsers (text and CBOR). Internal: names the JSON library.
///
/// Keys keep the order of the document; of a repeated key the last value wins. Documents nested deeper than `kMaxDepth`
/// are refused, so that neither parsing nor dropping a value can exhaust the stack, and so are those of more than
/// `kMaxValues` values, containers included, which would take far more memory than their text.
class ZRValueSax final : public nlohmann::json_sax<nlohmann::json> {
 public:
  static constexpr std::size_t kMaxDepth = 64;
  static constexpr std::size_t kMaxValues = 200'000;

  /// The value of a JSON text (RFC 8259); nothing when it is not exactly one.
  static std::optional<ZRValue> parseJson(std::string_view text);

  /// The value of a CBOR item (RFC 8949); nothing when the bytes are not exactly one. Tags, strings of indefinite
  /// length and negative integers below 64 bits are refused. Missing memory is no fault of the bytes: it throws.
  static std::optional<ZRValue> parseCbor(const std::uint8_t* bytes, std::size_t size);

  bool null() override;
  bool boolean(bool value) override;
  bool number_integer(number_integer_t value) override;
  bool number_unsigned(number_unsigned_t value) override;
  bool number_float(number_float_t value, const string_t& text) override;
  bool string(string_t& value) override;
  bool binary(binary_t& value) override;
  bool start_object(std::size_t size) override;
  bool key(string_t& key) override;
  bool end_object() override;
  bool start_array(std::size_t size) override;
  bool end_array() override;
  bool parse_error(std::size_t position, const std::string& token, const nlohmann::detail::exception& error) override;

 private:
  struct Level {
    bool isObject;
    std::string key;
    ZRDictionary::Entries entries;
    ZRValue::List items;
  };

  bool addScalar(ZRValue value);
  bool add(ZRValue value);
  bool open(bool isObject);

  std::vector<Level> levels_;
  std::size_t values_ = 0;
  ZRValue result_;
};
