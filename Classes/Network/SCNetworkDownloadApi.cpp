#include "SCNetworkDownloadApi.h"

#include <unistd.h>

#include "SCSideName.h"

void SCNetworkDownloadApi::forgetVersion(const std::string& path) {
  const std::size_t nameAt = path.rfind('/') + 1;
  const std::string folder = path.substr(0, nameAt);
  const std::string name = path.substr(nameAt);
  for (const std::string& helper : {SCSideName::version(name), SCSideName::versionDraft(name)}) {
    (void)::unlink((folder + helper).c_str());  // a leftover costs nothing but its place
  }
}

void SCNetworkDownloadApi::dropHandlers() {
  const ProgressHandler dropped = std::exchange(progressHandler_, {});
  SCNetworkBaseApi::dropHandlers();
}
