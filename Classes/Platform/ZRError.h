#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ZRDictionary.h"
#include "ZRErrorReason.h"
#include "ZRExport.h"

/// The domain of the errors that the library's own code makes.
inline constexpr const char* kZRErrorDomain = "com.velmor.inc";

/// The domain of the errors of the operating system; the code is `errno`.
inline constexpr const char* kZRPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// Codes of the domain `kZRErrorDomain`; what the manager does on each is told at `ZRDownloadManager`.
enum class ZRErrorCode : std::int64_t {
  DiskFull = 100,           ///< free disk space is not above 1 GiB
  ConnectionLost = 101,     ///< the connection broke during a transfer
  CannotReachServer = 102,  ///< the server cannot be reached, or there is no network
  ResourceUnusable = 103,   ///< an address is missing, or a file fails its check
  Reserved = 104,           ///< raised by no runner
  HostOffline = 105,        ///< the sharing device is offline
  FileDeleted = 106,        ///< the file is gone from the sharing device
};

/// Why something failed: a domain, a code of that domain, and a text for the user. A value type.
class ZR_EXPORT ZRError {
 public:
  /// An error of any domain.
  ZRError(std::string domain, std::int64_t code, std::string localizedDescription, ZRDictionary userInfo = {});

  /// An error of the domain `kZRErrorDomain`.
  ZRError(ZRErrorCode code, std::string localizedDescription);

  /// This error with `value` under `key` of its user information.
  ZRError with(std::string_view key, ZRValue value) const;

  /// Who counts the codes.
  const std::string& domain() const noexcept { return domain_; }

  /// What failed, in the numbers of `domain()`.
  std::int64_t code() const noexcept { return code_; }

  /// The text for the user; Chinese in the errors of `kZRErrorDomain`.
  const std::string& localizedDescription() const noexcept { return localizedDescription_; }

  /// More about the cause. The library's errors hold "reason", and "cause" and "httpStatus" where there is one: see
  /// ZRErrorReason.h. A host's own hold what the host put there.
  const ZRDictionary& userInfo() const noexcept { return userInfo_; }

  /// `Error Domain=… Code=… "…"`, for log records.
  std::string description() const;

  /// Same domain, code and text.
  friend bool operator==(const ZRError& a, const ZRError& b) {
    return a.domain_ == b.domain_ && a.code_ == b.code_ && a.localizedDescription_ == b.localizedDescription_;
  }

 private:
  std::string domain_;
  std::int64_t code_;
  std::string localizedDescription_;
  ZRDictionary userInfo_;
};
