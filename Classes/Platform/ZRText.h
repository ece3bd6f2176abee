#pragma once

#include <optional>
#include <string>
#include <utility>

#include "ZRValue.h"

/// A text field in its three states: never set, the null marker (a NULL column, a JSON null), or a string.
class ZRText {
 public:
  ZRText() = default;
  ZRText(std::string text) : text_(std::move(text)) {}
  ZRText(const char* text) : text_(text) {}

  /// A text or a number in decimal becomes a string, the null marker stays itself, all else is absent.
  static ZRText fromValue(const ZRValue& value) {
    ZRText result;
    result.text_ = value.textValue();
    result.null_ = value.isNull();
    return result;
  }

  bool isAbsent() const noexcept { return !text_ && !null_; }
  bool isNull() const noexcept { return null_; }

  /// The string; null in the other two states.
  const std::string* string() const noexcept { return text_ ? &*text_ : nullptr; }

  ZRValue value() const {
    if (null_) return ZRValue::null();
    return ZRValue::orAbsent(text_);
  }

 private:
  std::optional<std::string> text_;
  bool null_ = false;
};
