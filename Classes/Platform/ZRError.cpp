#include "ZRError.h"

#include <utility>

#include "ZRValue.h"

ZRError::ZRError(std::string domain, std::int64_t code, std::string localizedDescription, ZRDictionary userInfo)
    : domain_(std::move(domain)),
      code_(code),
      localizedDescription_(std::move(localizedDescription)),
      userInfo_(std::move(userInfo)) {}

ZRError::ZRError(ZRErrorCode code, std::string localizedDescription)
    : ZRError(kZRErrorDomain, static_cast<std::int64_t>(code), std::move(localizedDescription)) {}

ZRError ZRError::with(std::string_view key, ZRValue value) const {
  ZRError copy = *this;
  copy.userInfo_.set(key, std::move(value));
  return copy;
}

std::string ZRError::description() const {
  return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + localizedDescription_ + "\"";
}
