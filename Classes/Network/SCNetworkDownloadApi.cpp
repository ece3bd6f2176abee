#include "SCNetworkDownloadApi.h"

void SCNetworkDownloadApi::dropHandlers() {
  const ProgressHandler dropped = std::exchange(progressHandler_, {});
  SCNetworkBaseApi::dropHandlers();
}
