#include "ZRStatementShape.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool startsWithKnownVerb(std::string_view sql) {
  constexpr std::array<std::string_view, 4> kVerbs = {"SELECT ", "INSERT ", "UPDATE ", "DELETE "};
  return std::ranges::any_of(kVerbs, [sql](std::string_view verb) { return sql.starts_with(verb); });
}

/// Walks a statement from piece to piece.
class Scanner final {
 public:
  explicit Scanner(std::string_view sql) : sql_(sql), mayHaveItems_(sql.starts_with("INSERT ")) {}

  /// False when the statement is not for taking apart.
  bool run() {
    while (at_ < sql_.size()) {
      if (!takePiece()) return false;
    }
    return !shape_.literals.empty();
  }

  ZRStatementShape takeShape() { return std::move(shape_); }

 private:
  bool takePiece() {
    const char c = sql_[at_];
    if (isWordCharacter(c)) return takeWord();
    if (c == '\'') return takeText();
    if (c == ';') return sql_.find_first_not_of(kBlanks, at_ + 1) == std::string_view::npos && keep(sql_.size() - at_);
    if (kBlanks.find(c) != std::string_view::npos) return keep(1);
    if (std::string_view("=(),<>*-").find(c) == std::string_view::npos) return false;
    if (c == '-') return !sql_.substr(at_ + 1).starts_with('-') && keep(1);  // no comment
    if (c == ')') isInItems_ = false;
    expectsValue_ = c == '=' || (isInItems_ && (c == '(' || c == ','));
    return keep(1);
  }

  /// A name, a key word or a number.
  bool takeWord() {
    const std::size_t end =
        std::find_if_not(sql_.begin() + static_cast<std::ptrdiff_t>(at_), sql_.end(), isWordCharacter) - sql_.begin();
    const std::string_view word = sql_.substr(at_, end - at_);
    if (mayHaveItems_ && word == "VALUES") {
      isInItems_ = true;
      mayHaveItems_ = false;
    }
    std::int64_t number = 0;
    const auto parsed = std::from_chars(word.data(), word.data() + word.size(), number);
    const bool isNumber = parsed.ec == std::errc() && parsed.ptr == word.data() + word.size();
    return expectsValue_ && isNumber ? takeOut(number, word.size()) : keepValue(word.size());
  }

  bool takeText() {
    const std::size_t end = sql_.find('\'', at_ + 1);
    if (end == std::string_view::npos || sql_.substr(end + 1).starts_with('\'')) return false;
    const std::size_t size = end + 1 - at_;
    return expectsValue_ ? takeOut(std::string(sql_.substr(at_ + 1, size - 2)), size) : keepValue(size);
  }

  bool takeOut(ZRStatementShape::Literal literal, std::size_t size) {
    shape_.literals.push_back(std::move(literal));
    shape_.text += '?';
    at_ += size;
    expectsValue_ = false;
    return true;
  }

  bool keepValue(std::size_t size) {
    expectsValue_ = false;
    return keep(size);
  }

  bool keep(std::size_t size) {
    shape_.text += sql_.substr(at_, size);
    at_ += size;
    return true;
  }

  const std::string_view sql_;
  std::size_t at_ = 0;
  bool mayHaveItems_;          // an INSERT before its VALUES
  bool isInItems_ = false;     // in the first list of VALUES
  bool expectsValue_ = false;  // only blanks since the character that a value follows
  ZRStatementShape shape_;
};

}  // namespace

std::optional<ZRStatementShape> ZRStatementShape::of(std::string_view sql) {
  if (!startsWithKnownVerb(sql)) return std::nullopt;
  Scanner scanner(sql);
  return scanner.run() ? std::optional(scanner.takeShape()) : std::nullopt;
}
