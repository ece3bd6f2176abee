#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "SCNetworkApiResponse.h"
#include "SCNetworkErrors.h"
#include "ZRError.h"
#include "ZRValue.h"

/// Turns the body of a 2xx answer into a result. Immutable once it belongs to a request: the agent calls it on its own
/// thread.
class SCNetworkResponseParser {
 public:
  virtual ~SCNetworkResponseParser();

  virtual std::variant<SCParserResult, ZRError> parse(std::string_view body) const = 0;
};

/// Parses JSON, compares the value at `checkKeyPath` with `okValue`, and gives the value at `targetKeyPath`.
///
/// Key paths separate levels with "/". An empty check path checks nothing; an empty target path is the whole document.
/// A check that fails is an error of the code `BadServerResponse`, a body that is not JSON one of the code
/// `CannotParseResponse`; its user information is told at the two keys in SCNetworkErrors.h.
class SCNetworkJsonResponseParser : public SCNetworkResponseParser {
 public:
  void setCheckKeyPath(std::string path) { checkKeyPath_ = std::move(path); }

  /// The expected value as text; a number in the JSON is compared in decimal.
  void setOkValue(std::string value) { okValue_ = std::move(value); }
  void setTargetKeyPath(std::string path) { targetKeyPath_ = std::move(path); }

  /// Where a refused answer tells the reason, as a text; it becomes the error's description.
  void setErrorMsgKeyPath(std::string path) { errorMsgKeyPath_ = std::move(path); }

  std::variant<SCParserResult, ZRError> parse(std::string_view body) const override;

 private:
  std::string checkKeyPath_;
  std::string okValue_;
  std::string targetKeyPath_;
  std::string errorMsgKeyPath_;
};

/// The same, with the selected JSON object turned into a record by `SCJSONUtil`; an answer whose target is no object is
/// an error of the code `CannotParseResponse`.
class SCNetworkModelResponseParser final : public SCNetworkJsonResponseParser {
 public:
  /// The name under which the record class is registered with `SCJSONUtil`.
  void setModelName(std::string name) { modelName_ = std::move(name); }

  /// Handed to the record's mapping hooks.
  void setRefObj(ZRValue refObj) { refObj_ = std::move(refObj); }

  std::variant<SCParserResult, ZRError> parse(std::string_view body) const override;

 private:
  std::string modelName_;
  ZRValue refObj_;
};
