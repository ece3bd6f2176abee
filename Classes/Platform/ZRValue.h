#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "ZRDictionary.h"
#include "ZRExport.h"
#include "ZRHostCallbacks.h"

/// One value of a parameter dictionary, a table row, a JSON reply or the options of `setup`.
///
/// Absent ("no such key") and the null marker ("the key holds null") are two different states. `as…` accessors give the
/// value only when it is of that very kind; the `…Value` accessors coerce, so that a number given as text reads the
/// same everywhere.
class ZR_EXPORT ZRValue {
 public:
  using Bytes = std::vector<std::uint8_t>;  ///< what is no text
  using List = std::vector<ZRValue>;        ///< values of any kinds

  /// What a value is.
  enum class Kind {
    Absent,
    Null,
    Boolean,
    Signed,
    Unsigned,
    Double,
    Text,
    Bytes,
    List,
    Dictionary,
    RequestHandler,
    RecordHandler,
  };

  /// A value of the argument's kind; an empty callback and a null C string give an absent value.
  ///@{
  ZRValue() noexcept;
  ZRValue(std::same_as<bool> auto value) : storage_(value) {}
  ZRValue(std::signed_integral auto value) : storage_(static_cast<std::int64_t>(value)) {}
  template <std::unsigned_integral T>
  requires(!std::same_as<T, bool>) ZRValue(T value) : storage_(static_cast<std::uint64_t>(value)) {}
  ZRValue(double value);
  ZRValue(std::string value);
  ZRValue(std::string_view value);
  ZRValue(const char* value);
  ZRValue(Bytes value);
  ZRValue(List value);
  ZRValue(ZRDictionary value);
  ZRValue(ZRRequestHandler value);
  ZRValue(ZRRecordHandler value);
  template <class T>
  requires(!std::same_as<T, char>) ZRValue(T*)
  = delete;  // a pointer would silently become a boolean
  ///@}

  /// The null marker.
  static ZRValue null();

  /// The value in `optional`, or an absent one.
  template <class T>
  static ZRValue orAbsent(const std::optional<T>& optional) {
    return optional ? ZRValue(*optional) : ZRValue();
  }

  /// What the value is.
  ///@{
  Kind kind() const noexcept;
  bool isAbsent() const noexcept { return kind() == Kind::Absent; }
  bool isNull() const noexcept { return kind() == Kind::Null; }
  bool isNumber() const noexcept;
  ///@}

  /// The value of that very kind; null when it is of another one.
  ///@{
  const bool* asBoolean() const noexcept { return std::get_if<bool>(&storage_); }
  const std::int64_t* asSigned() const noexcept { return std::get_if<std::int64_t>(&storage_); }
  const std::uint64_t* asUnsigned() const noexcept { return std::get_if<std::uint64_t>(&storage_); }
  const double* asDouble() const noexcept { return std::get_if<double>(&storage_); }
  const std::string* asText() const noexcept { return std::get_if<std::string>(&storage_); }
  const Bytes* asBytes() const noexcept { return std::get_if<Bytes>(&storage_); }
  const List* asList() const noexcept { return std::get_if<List>(&storage_); }
  const ZRDictionary* asDictionary() const noexcept { return std::get_if<ZRDictionary>(&storage_); }
  const ZRRequestHandler* asRequestHandler() const noexcept { return std::get_if<ZRRequestHandler>(&storage_); }
  const ZRRecordHandler* asRecordHandler() const noexcept { return std::get_if<ZRRecordHandler>(&storage_); }
  ///@}

  /// Coercions. A text gives its leading number, a boolean 0 or 1; what has no number gives 0. Fractions are dropped
  /// towards zero; a number out of range is held at the nearest bound.
  ///@{
  bool boolValue() const noexcept;
  std::int64_t int64Value() const noexcept;
  std::uint64_t uint64Value() const noexcept;
  double doubleValue() const noexcept;
  ///@}

  /// The low 32 bits of `int64Value()`.
  std::int32_t int32Value() const noexcept { return static_cast<std::int32_t>(int64Value()); }

  /// A text as it is, a number in decimal, a boolean as "1" or "0"; nothing for every other kind.
  std::optional<std::string> textValue() const;

  /// Same kind and same value; two callbacks are never equal.
  bool operator==(const ZRValue& other) const;

 private:
  struct Null {};
  std::variant<std::monostate, Null, bool, std::int64_t, std::uint64_t, double, std::string, Bytes, List, ZRDictionary,
               ZRRequestHandler, ZRRecordHandler>
      storage_;
};
