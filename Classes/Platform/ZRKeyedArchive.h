#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "ZRField.h"
#include "ZRValue.h"

/// Records as bytes: a CBOR map (RFC 8949) from the archive keys of a field table to their values.
class ZRKeyedArchive {
 public:
  /// Writes the fields of `record` that its table archives, in table order; an absent text is left out.
  template <class T>
  static std::vector<std::uint8_t> archive(const T& record) {
    ZRDictionary map;
    for (const ZRField<T>& field : T::fields()) {
      if (field.width != ZRArchiveWidth::None) map.set(field.name, narrowed(field.get(record), field.width));
    }
    return encode(map);
  }

  /// A new record with the archived fields set; a missing key leaves its field as the constructor did. Null when the
  /// bytes are no archive.
  template <class T>
  static std::shared_ptr<T> unarchive(std::span<const std::uint8_t> bytes) {
    const std::optional<ZRDictionary> map = decode(bytes);
    if (!map) return nullptr;
    auto record = std::make_shared<T>();
    for (const ZRField<T>& field : T::fields()) {
      const ZRValue& value = (*map)[field.name];
      if (field.width == ZRArchiveWidth::None || value.isAbsent()) continue;
      field.set(*record, narrowed(value, field.width));
    }
    return record;
  }

  /// The scalars of `map` in its order; lists, dictionaries and callbacks are left out.
  static std::vector<std::uint8_t> encode(const ZRDictionary& map);

  /// Nothing when the bytes are damaged, hold more than one map, or nest too deeply.
  static std::optional<ZRDictionary> decode(std::span<const std::uint8_t> bytes);

 private:
  static ZRValue narrowed(const ZRValue& value, ZRArchiveWidth width);
};
