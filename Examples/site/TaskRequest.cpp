#include "TaskRequest.h"

#include "StorableText.h"

namespace site {
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

// Only a share's ids are texts that are stored as they are.
std::string TaskRequest::storeFault() const {
  for (const char* const key : {kZRParamVid, kZRParamAlbumId}) {
    const bool isQuoted = params[key].textValue().value_or("").find('\'') != std::string::npos;
    if (isQuoted) return "the store takes no ' in \"" + std::string(key) + "\"";
  }
  return "";
}

}  // namespace site
