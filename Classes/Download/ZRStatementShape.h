#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// A statement taken apart into the text that it shares with others and the values that tell it from them. The runners
/// write the same few statements for every segment, with other numbers: what is alike needs to be parsed only once.
struct ZRStatementShape {
  using Literal = std::variant<std::int64_t, std::string>;

  std::string text;               ///< with "?" for each literal that was taken out
  std::vector<Literal> literals;  ///< in the order of their "?"

  /// Takes out the whole numbers and quoted texts of a statement in one of the forms that the runners build, to the
  /// letter; nothing for every other one, which is prepared as it stands:
  ///
  ///     UPDATE t SET a = VALUE,b = VALUE WHERE k = VALUE and l = VALUE
  ///     SELECT a from t WHERE …
  ///     DELETE from t WHERE …
  ///     INSERT INTO t (a,b) VALUES (VALUE,VALUE)
  ///
  /// A VALUE is a number, a quoted text without a quote or a NUL in it, or "(null)".
  static std::optional<ZRStatementShape> of(std::string_view sql);
};
