#include "ZRStatementShape.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "ZRAscii.h"

namespace {

bool isNameCharacter(char c) {
  return ZRAscii::isLetter(c) || ZRAscii::isDigit(c) || c == '_';
}

/// Walks along a statement. Each step takes what it is named after, or nothing and says false.
class Walk final {
 public:
  explicit Walk(std::string_view sql) : rest_(sql) { shape_.literals.reserve(16); }

  bool statement() {
    if (text("UPDATE ")) return name() && text(" SET ") && list([this] { return assignment(); }, ",") && condition();
    if (text("INSERT INTO ")) {
      return name() && text(" (") && list([this] { return name(); }, ",") && text(") VALUES (") &&
             list([this] { return value(); }, ",") && text(")") && rest_.empty();
    }
    if (text("SELECT ")) return name() && text(" from ") && name() && condition();
    return text("DELETE from ") && name() && condition();
  }

  ZRStatementShape takeShape() { return std::move(shape_); }

 private:
  bool condition() {
    if (!text(" WHERE ") || !list([this] { return assignment(); }, " and ")) return false;
    (void)text(" ");
    return rest_.empty();
  }

  bool assignment() { return name() && text(" = ") && value(); }

  bool name() {
    const auto end = std::ranges::find_if_not(rest_, isNameCharacter);
    return end != rest_.begin() && keep(static_cast<std::size_t>(end - rest_.begin()));
  }

  bool value() {
    if (rest_.starts_with('\'')) return quoted();
    if (text("(null)")) return true;
    const std::size_t size = std::min(rest_.find_first_of(", )"), rest_.size());
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + size, number);
    if (error == std::errc() && end == rest_.data() + size) return takeOut(number, size);
    double fraction = 0;
    const auto [fractionEnd, fractionError] = std::from_chars(rest_.data(), rest_.data() + size, fraction);
    return fractionError == std::errc() && fractionEnd == rest_.data() + size && keep(size);
  }

  bool quoted() {
    const std::size_t end = rest_.find('\'', 1);
    if (end == std::string_view::npos || rest_.substr(end + 1).starts_with('\'')) return false;
    const std::string_view text = rest_.substr(1, end - 1);
    return text.find('\0') == std::string_view::npos && takeOut(std::string(text), end + 1);
  }

  template <class Item>
  bool list(const Item& item, std::string_view separator) {
    do {
      if (!item()) return false;
    } while (text(separator));
    return true;
  }

  bool text(std::string_view expected) { return rest_.starts_with(expected) && keep(expected.size()); }

  bool keep(std::size_t size) {
    shape_.text += rest_.substr(0, size);
    rest_.remove_prefix(size);
    return true;
  }

  template <class Value>
  bool takeOut(Value value, std::size_t size) {
    shape_.literals.emplace_back(std::move(value));
    shape_.text += '?';
    rest_.remove_prefix(size);
    return true;
  }

  std::string_view rest_;
  ZRStatementShape shape_;
};

}  // namespace

std::optional<ZRStatementShape> ZRStatementShape::of(std::string_view sql) {
  Walk walk(sql);
  return walk.statement() ? std::optional(walk.takeShape()) : std::nullopt;
}
