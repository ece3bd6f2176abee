#include "TaskRequest.h"

#include "StorableText.h"

namespace zrdl {
namespace {

/// The library describes a share, its title included, only when it has an album's name.
ZRDictionary withAlbumName(ZRDictionary params) {
  if (!params.contains("albumName")) params.set("albumName", "");
  return params;
}

}  // namespace

std::shared_ptr<ZRDownloadTask> TaskRequest::make() const {
  if (kind == "hls") return ZRDownloadTask::taskWithParams(storable(params));
  if (kind == "mp4") return ZRDownloadTask::taskWith73Params(storable(params));
  if (kind == "share") return ZRDownloadTask::taskWithShareParams(withAlbumName(params));
  return nullptr;
}

}  // namespace zrdl
