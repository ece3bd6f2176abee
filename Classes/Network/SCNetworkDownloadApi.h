#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "SCNetworkBaseApi.h"

/// A request whose body is written to a file.
///
/// The file is touched only by a 2xx answer. Without resume the body goes to `.NAME.part` beside it and is renamed over
/// it when it is complete, so a failure or a cancel leaves no file. With resume the file itself grows, and what the
/// server said about its version is kept in `.NAME.resume`: bytes go on only where they are known to be of the version
/// that the server has (RFC 9110, section 13.1.5), and are fetched again where they are not. A file that was complete
/// when `cancel` was called stays.
///
/// A file that another download writes, mostly another process's, ends this one with code 103 and the reason "fileBusy"
/// of the library's domain, one that cannot be written with the reason "fileFailure", a full disk with code 100.
/// Nothing is synced to the disk: that is left to the owner of the folder, who calls `forgetVersion` afterwards.
class SCNetworkDownloadApi final : public SCNetworkBaseApi {
 public:
  /// Bytes since the last call, bytes so far and bytes expected; the latter two count what was on disk before, and the
  /// expected total is 0 while the server has not told a length. Calls may be merged: their chunks add up to the bytes
  /// written. For a file that turns out to be complete already there is one call, with a chunk of 0.
  using ProgressHandler = std::function<void(const std::shared_ptr<SCNetworkBaseApi>& request, std::int64_t chunk,
                                             std::int64_t received, std::int64_t expected)>;

  /// Absolute path of the file; its folder exists. A symbolic link in its place is not followed.
  const std::string& downloadFilePath() const noexcept { return downloadFilePath_; }
  void setDownloadFilePath(std::string path) { downloadFilePath_ = std::move(path); }

  /// Continue what the file already holds, with a range request; else start over and replace it.
  bool useBreakpointContinuous() const noexcept { return useBreakpointContinuous_; }
  void setUseBreakpointContinuous(bool resume) noexcept { useBreakpointContinuous_ = resume; }

  /// Forgets which version of its origin's file the file at `path` holds: deletes what is kept beside it for a resume.
  /// To be called once the file is complete and its data on the disk. Any thread; a missing helper is no failure.
  static void forgetVersion(const std::string& path);

  const ProgressHandler& progressHandler() const noexcept { return progressHandler_; }
  void setProgressHandler(ProgressHandler handler) { progressHandler_ = std::move(handler); }

 protected:
  void dropHandlers() override;

 private:
  void describeTo(SCTransferSpec& spec) const override;
  void tellProgress(const std::shared_ptr<SCNetworkBaseApi>& itself, std::int64_t chunk, std::int64_t received,
                    std::int64_t expected) const override;
  const char* className() const noexcept override { return "SCNetworkDownloadApi"; }

  std::string downloadFilePath_;
  bool useBreakpointContinuous_ = false;
  ProgressHandler progressHandler_;
};
