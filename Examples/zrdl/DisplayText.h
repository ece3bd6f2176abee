#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zrdl {

/// The text as it may be written to a terminal: valid UTF-8 without control characters, line breaks or marks that turn
/// the writing direction; each of them, and each invalid byte, becomes U+FFFD.
std::string printable(std::string_view text);

/// Columns that a printable text takes on a terminal: two for East Asian wide characters, none for combining marks.
std::size_t displayWidth(std::string_view text);

/// The printable text cut or filled with blanks to exactly `columns`; a cut one ends with "…".
std::string fitted(std::string_view text, std::size_t columns);

}  // namespace zrdl
