#include "TaskRequest.h"

namespace zrdl {

std::shared_ptr<ZRDownloadTask> TaskRequest::make() const {
  if (kind == "mp4") return ZRDownloadTask::taskWith73Params(params);
  return nullptr;
}

}  // namespace zrdl
