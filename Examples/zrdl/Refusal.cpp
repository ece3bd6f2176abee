#include "Refusal.h"

#include "DisplayText.h"

namespace zrdl {
namespace {

std::string explanation(Refusal reason, std::string_view fault) {
  switch (reason) {
    case Refusal::Exists:
      return "exists already; an unfinished one goes on with `zrdl resume`";
    case Refusal::Parameters:
      return fault.empty() ? "the parameters cannot be used" : printable(fault);
    case Refusal::Store:
      return fault.empty() ? "the store did not take it" : printable(fault);
    case Refusal::NoStore:
      return "there is no store";
  }
  return "";
}

}  // namespace

std::string refusalText(Refusal reason, std::string_view label, std::string_view fault) {
  return printable(label) + ": refused: " + explanation(reason, fault);
}

}  // namespace zrdl
