#pragma once

#include <memory>
#include <optional>

#include "ZRError.h"
#include "ZRObject.h"
#include "ZRValue.h"

/// What a parser made of a body: a JSON value, or a record in its place.
struct SCParserResult {
  ZRValue value;                    ///< absent when there is none, or when a record was made
  std::shared_ptr<ZRObject> model;  ///< null when no record was made
};

/// How a request ended, as its `responseHandler` sees it. Immutable.
class SCNetworkApiResponseProtocol {
 public:
  virtual ~SCNetworkApiResponseProtocol();

  /// Nothing when the request succeeded and the parser accepted the body.
  virtual const std::optional<ZRError>& err() const = 0;

  /// What the parser produced; empty after an error and without a parser.
  virtual const SCParserResult& parserResult() const = 0;

  /// The HTTP status; 0 when no response arrived.
  virtual int statusCode() const = 0;

  /// The record in `parserResult()` as a T; null when it is something else.
  template <class T>
  std::shared_ptr<T> parserModel() const {
    return std::dynamic_pointer_cast<T>(parserResult().model);
  }
};
