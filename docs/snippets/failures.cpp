#include "Snippets.h"

// [advice]
Offer offerFor(const ZRError& error) {
  switch (static_cast<ZRErrorCode>(error.code())) {
    case ZRErrorCode::DiskFull:
      return Offer::FreeSpace;  // then starTasks
    case ZRErrorCode::ConnectionLost:
      return Offer::Continue;  // resumeTask
    case ZRErrorCode::CannotReachServer:
      return Offer::ContinueAll;  // starTasks, when the network is back
    case ZRErrorCode::HostOffline:
      return Offer::WakeDevice;  // then resumeTask
    case ZRErrorCode::FileDeleted:
      return Offer::Remove;  // pauseTask, removeTask
    case ZRErrorCode::ResourceUnusable:
    case ZRErrorCode::Reserved:
      break;
  }
  return Offer::TryAgain;  // resumeTask; if it fails again, another version or Remove
}
// [advice]
