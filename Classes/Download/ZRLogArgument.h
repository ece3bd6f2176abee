#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "ZRExport.h"

/// One argument of a log text. It refers to what it was made from, and an object is described only when a record is
/// really made, so that a call without a logger costs next to nothing.
class ZR_EXPORT ZRLogArgument {
 public:
  /// What the text renderer sees.
  using Value = std::variant<std::int64_t, std::uint64_t, double, std::string>;

  /// A number or a text; a null C string reads "(null)".
  ///@{
  ZRLogArgument(std::signed_integral auto value) : number_(static_cast<std::int64_t>(value)), isNumber_(true) {}
  ZRLogArgument(std::unsigned_integral auto value) : number_(static_cast<std::uint64_t>(value)), isNumber_(true) {}
  ZRLogArgument(double value) : number_(value), isNumber_(true) {}
  ZRLogArgument(const char* text) : object_(text), describe_(&describeCString) {}
  ZRLogArgument(const std::string& text) : object_(&text), describe_(&describeString) {}
  ///@}

  /// An object that describes itself.
  template <class T>
  requires requires(const T& object) {
    { object.description() } -> std::convertible_to<std::string>;
  }
  ZRLogArgument(const T& object)
      : object_(&object),
        describe_([](const void* o) -> std::string { return static_cast<const T*>(o)->description(); }) {}

  /// A shared object; null reads "(null)".
  template <class T>
  ZRLogArgument(const std::shared_ptr<T>& object) : ZRLogArgument(ofPointer(object.get())) {}

  /// An optional text or object; an empty one reads "(null)".
  template <class T>
  ZRLogArgument(const std::optional<T>& object) : ZRLogArgument(ofPointer(object ? &*object : nullptr)) {}

  /// The argument as it goes into the text.
  Value value() const;

 private:
  ZRLogArgument() = default;

  template <class T>
  static ZRLogArgument ofPointer(const T* object) {
    return object != nullptr ? ZRLogArgument(*object) : ZRLogArgument();
  }

  static std::string describeCString(const void* text);
  static std::string describeString(const void* text);

  std::variant<std::int64_t, std::uint64_t, double> number_;
  bool isNumber_ = false;
  const void* object_ = nullptr;
  std::string (*describe_)(const void*) = nullptr;
};
