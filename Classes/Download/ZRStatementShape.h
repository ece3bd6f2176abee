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

  /// Takes out the whole numbers and quoted texts that follow "=", and those that are items of VALUES. Elsewhere a
  /// literal may be more than a value: a column's name, or its position in ORDER BY.
  ///
  /// Nothing for all but a single SELECT, INSERT, UPDATE or DELETE with a literal to take out, and nothing for one with
  /// comments, quoted names, parameters or escaped quotes in it.
  static std::optional<ZRStatementShape> of(std::string_view sql);
};
