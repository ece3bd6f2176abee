#include "SCNetworkDownloadApi.h"

#include <unistd.h>

#include "SCSideName.h"
#include "SCTransferSpec.h"

void SCNetworkDownloadApi::forgetVersion(const std::string& path) {
  const std::size_t nameAt = path.rfind('/') + 1;
  const std::string folder = path.substr(0, nameAt);
  const std::string name = path.substr(nameAt);
  for (const std::string& helper : {SCSideName::version(name), SCSideName::versionDraft(name)}) {
    (void)::unlink((folder + helper).c_str());  // a leftover costs nothing but its place
  }
}

void SCNetworkDownloadApi::describeTo(SCTransferSpec& spec) const {
  spec.target = {downloadFilePath_, useBreakpointContinuous_, static_cast<bool>(progressHandler_)};
}

void SCNetworkDownloadApi::tellProgress(const std::shared_ptr<SCNetworkBaseApi>& itself, std::int64_t chunk,
                                        std::int64_t received, std::int64_t expected) const {
  const ProgressHandler handler = progressHandler_;  // it may cancel the request
  if (handler) handler(itself, chunk, received, expected);
}

void SCNetworkDownloadApi::dropHandlers() {
  const ProgressHandler dropped = std::exchange(progressHandler_, {});
  SCNetworkBaseApi::dropHandlers();
}
