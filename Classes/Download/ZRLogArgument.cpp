#include "ZRLogArgument.h"

ZRLogArgument::Value ZRLogArgument::value() const {
  if (describe_ != nullptr) return describe_(object_);
  if (isNumber_) return std::visit([](auto number) { return Value(number); }, number_);
  return std::string("(null)");
}

std::string ZRLogArgument::describeCString(const void* text) {
  return text != nullptr ? static_cast<const char*>(text) : "(null)";
}

std::string ZRLogArgument::describeString(const void* text) {
  return *static_cast<const std::string*>(text);
}
