#pragma once

#include <string>

#include "ZRExport.h"

/// The root of everything that can be named in a log record or carried by a notification.
///
/// Objects of this kind are shared (`std::shared_ptr`) and never copied.
class ZR_EXPORT ZRObject {
 public:
  ZRObject() = default;
  ZRObject(const ZRObject&) = delete;
  ZRObject& operator=(const ZRObject&) = delete;
  virtual ~ZRObject();

  /// One line for log records: what stands in a format for "%@".
  virtual std::string description() const = 0;

  /// A longer line for a developer's eyes; `description()` unless the class has more to say.
  virtual std::string debugDescription() const { return description(); }
};
