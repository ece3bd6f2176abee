#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ZRText.h"
#include "ZRValue.h"

/// The SQL type word of a field that is a column of its class's table.
enum class ZRColumnType { None, Integer, Double, Text };

/// How a field stands in a keyed archive.
enum class ZRArchiveWidth { None, Boolean, Int32, Int64, Object };

/// One line of a class's field table: the field's name and how to read and write it by that name.
///
/// Tables are constant arrays, one a class, given by `static std::span<const ZRField<T>> T::fields()`. The SQL mapping,
/// the JSON mapper and the archiver all walk them. A line without a setter ignores writes.
template <class T>
struct ZRField {
  using Get = ZRValue (*)(const T&);
  using Set = void (*)(T&, const ZRValue&);

  std::string_view name;
  Get get = nullptr;
  Set set = nullptr;
  ZRColumnType column = ZRColumnType::None;
  ZRArchiveWidth width = ZRArchiveWidth::None;
};

// How a member of each type is read from and written by a value. An absent value or the null marker leaves a number as
// it is; a text takes both.

template <std::integral I>
void zrAssign(I& member, const ZRValue& value) {
  if (value.isAbsent() || value.isNull()) return;
  if constexpr (std::same_as<I, bool>) {
    member = value.boolValue();
  } else if constexpr (std::same_as<I, std::uint64_t>) {
    member = value.uint64Value();
  } else {
    member = static_cast<I>(value.int64Value());
  }
}

/// A number that is not finite could not be written to a table again, so it is dropped.
inline void zrAssign(double& member, const ZRValue& value) {
  if (value.isAbsent() || value.isNull()) return;
  const double number = value.doubleValue();
  if (std::isfinite(number)) member = number;
}

inline void zrAssign(ZRText& member, const ZRValue& value) {
  member = ZRText::fromValue(value);
}
inline void zrAssign(std::optional<std::string>& member, const ZRValue& value) {
  member = value.textValue();
}

template <std::integral I>
ZRValue zrValueOf(I member) {
  return ZRValue(member);
}
inline ZRValue zrValueOf(double member) {
  return ZRValue(member);
}
inline ZRValue zrValueOf(const ZRText& member) {
  return member.value();
}
inline ZRValue zrValueOf(const std::optional<std::string>& member) {
  return ZRValue::orAbsent(member);
}

/// The line of a plain data member, its class's own or inherited: `zrField<Record, &Record::duration_>("duration", …)`.
template <class T, auto Member>
constexpr ZRField<T> zrField(std::string_view name, ZRColumnType column = ZRColumnType::None,
                             ZRArchiveWidth width = ZRArchiveWidth::None) {
  return {name, [](const T& object) { return zrValueOf(object.*Member); },
          [](T& object, const ZRValue& value) { zrAssign(object.*Member, value); }, column, width};
}

/// The line named `name`; null when the class has no such field.
template <class T>
const ZRField<T>* zrFindField(std::string_view name) {
  for (const ZRField<T>& field : T::fields()) {
    if (field.name == name) return &field;
  }
  return nullptr;
}
