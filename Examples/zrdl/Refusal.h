#pragma once

#include <string>
#include <string_view>

namespace zrdl {

/// Why a task was not taken.
enum class Refusal {
  Exists,      ///< the store holds it already
  Parameters,  ///< there is no such kind, or its parameters are refused
  Store,       ///< the store did not take it
  NoStore,     ///< there is no store, of which the user was told
};

/// One printable line. `label` names what was asked for, `fault` what is wrong with it; empty when that is not known.
std::string refusalText(Refusal reason, std::string_view label, std::string_view fault);

}  // namespace zrdl
