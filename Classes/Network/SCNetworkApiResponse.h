#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "ZRError.h"
#include "ZRObject.h"
#include "ZRValue.h"

/// What a parser made of a body: a JSON value, or a record in its place.
struct SCParserResult {
  ZRValue value;                    ///< absent when there is none, or when a record was made
  std::shared_ptr<ZRObject> model;  ///< null when no record was made
};

/// How a request ended, as its `responseHandler` sees it. A value.
class SCNetworkApiResponseProtocol final {
 public:
  SCNetworkApiResponseProtocol(std::optional<ZRError> error, SCParserResult result, int status)
      : error_(std::move(error)), result_(std::move(result)), status_(status) {}

  /// Nothing when the request succeeded and the parser accepted the body.
  const std::optional<ZRError>& err() const noexcept { return error_; }

  /// What the parser produced; empty after an error and without a parser.
  const SCParserResult& parserResult() const noexcept { return result_; }

  /// The HTTP status; 0 when no response arrived.
  int statusCode() const noexcept { return status_; }

  /// The record in `parserResult()` as a T; null when it is something else.
  template <class T>
  std::shared_ptr<T> parserModel() const {
    return std::dynamic_pointer_cast<T>(result_.model);
  }

 private:
  std::optional<ZRError> error_;
  SCParserResult result_;
  int status_;
};
