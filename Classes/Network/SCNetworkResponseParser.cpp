#include "SCNetworkResponseParser.h"

#include <optional>

#include "SCFailure.h"
#include "SCJSONUtil.h"
#include "ZRValueSax.h"

namespace {

/// The value at a path whose levels are separated by "/"; absent when a level is missing or no object.
ZRValue valueAt(const ZRValue& document, std::string_view path) {
  const ZRValue* value = &document;
  while (!path.empty()) {
    const ZRDictionary* const object = value->asDictionary();
    if (object == nullptr) return {};
    const std::size_t slash = path.find('/');
    value = &(*object)[path.substr(0, slash)];
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  return *value;
}

/// A boolean is no status, whatever number it would make.
bool reads(const ZRValue& value, const std::string& expected) {
  return value.kind() != ZRValue::Kind::Boolean && value.textValue() == expected;
}

ZRError parserError(SCURLErrorCode code, const std::string& text, const ZRValue& document, const ZRValue& realValue) {
  return SCFailure::transport(code, text)
      .with(SCNJsonParserErrorKey_RawJSON, document)
      .with(SCNJsonParserErrorKey_RealValue, realValue);
}

}  // namespace

SCNetworkResponseParser::~SCNetworkResponseParser() = default;

std::variant<SCParserResult, ZRError> SCNetworkJsonResponseParser::parse(std::string_view body) const {
  const std::optional<ZRValue> document = ZRValueSax::parseJson(body);
  if (!document) return SCFailure::transport(SCURLErrorCode::CannotParseResponse, "the answer is no JSON");
  const ZRValue realValue = checkKeyPath_.empty() ? ZRValue() : valueAt(*document, checkKeyPath_);
  if (!checkKeyPath_.empty() && !reads(realValue, okValue_)) {
    const ZRValue reason = errorMsgKeyPath_.empty() ? ZRValue() : valueAt(*document, errorMsgKeyPath_);
    return parserError(SCURLErrorCode::BadServerResponse, reason.textValue().value_or(""), *document, realValue);
  }
  return SCParserResult{valueAt(*document, targetKeyPath_), nullptr};
}

std::variant<SCParserResult, ZRError> SCNetworkModelResponseParser::parse(std::string_view body) const {
  std::variant<SCParserResult, ZRError> selected = SCNetworkJsonResponseParser::parse(body);
  const auto* const result = std::get_if<SCParserResult>(&selected);
  if (result == nullptr) return selected;
  const ZRDictionary* const object = result->value.asDictionary();
  auto record = object == nullptr ? nullptr : SCJSONUtil::makeModel(modelName_, *object, refObj_);
  if (record) return SCParserResult{ZRValue(), std::move(record)};
  return parserError(SCURLErrorCode::CannotParseResponse, "the answer holds no record",
                     ZRValueSax::parseJson(body).value_or(ZRValue()), ZRValue());
}
