#pragma once

#include <string>
#include <string_view>

#include "SCNetworkErrors.h"
#include "ZRError.h"

/// The errors of the layer, each made in one place.
class SCFailure final {
 public:
  /// An error of the domain `kSCURLErrorDomain`; an empty `detail` gives the code's own text.
  static ZRError transport(SCURLErrorCode code, std::string_view detail = {});

  /// A plain answer above the agent's limit: a parser's error, with a reason of its own.
  static ZRError tooLarge();

  /// An answer outside 2xx.
  static ZRError status(int status);

  /// The process has no more of what a request needs; `reason`, `kZRReasonNoThread` or `kZRReasonNoMemory`, names
  /// it. Code 103 of the library's domain, so that a task's slot goes to the next one.
  static ZRError want(const char* reason);

  /// No room for what is to be written: code 100.
  static ZRError diskFull();

  /// A failed operation on a file: `diskFull`, code 100, when the disk is full, else code 103 with the reason and the
  /// cause, such as "open: Input/output error".
  static ZRError file(std::string_view operation, int systemError, const char* reason = kZRReasonFileFailure);

  /// Another download, mostly another process's, writes the file: code 103 with the reason "fileBusy".
  static ZRError fileBusy();
};
