#include "ZRShareRules.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>

#include "SCNetworkErrors.h"
#include "SCSideName.h"
#include "ZRPath.h"
#include "ZRRemovedFolders.h"
#include "ZRValue.h"

namespace {

constexpr std::size_t kLongestPath = 4095;  // in bytes

constexpr std::string_view kAlbumDetail = "albumdetail.action";

/// A component that no file system takes, or one that would be swept as a folder on its way out.
bool isUnusable(const std::filesystem::path& name) {
  return std::ranges::any_of(name, [](const auto& component) {
    return component.native().size() > SCSideName::kLongestName ||
           component.native().starts_with(ZRRemovedFolders::kPrefix);
  });
}

/// Whether both are one file, or one would be a folder on the way to the other.
bool collide(std::string_view a, std::string_view b) {
  return a == b || ZRPath::isBelow(a, b) || ZRPath::isBelow(b, a);
}

}  // namespace

std::string ZRShareRules::albumDetailURL(std::string_view host) {
  const std::size_t pathEnd = std::min(host.find_first_of("?#"), host.size());
  const std::size_t authority = host.substr(0, pathEnd).find("//");
  const std::size_t pathAt = authority == std::string_view::npos ? 0 : std::min(host.find('/', authority + 2), pathEnd);
  const std::string_view path = host.substr(pathAt, pathEnd - pathAt);
  const std::string longer = path.empty() ? "/" + std::string(kAlbumDetail) : ZRPath::append(path, kAlbumDetail);
  return std::string(host.substr(0, pathAt)).append(longer).append(host.substr(pathEnd));
}

std::string ZRShareRules::pingURL(std::string_view base) {
  return std::string(base).append(base.ends_with('/') ? "ping" : "/ping");
}

std::optional<ZRError> ZRShareRules::finalDetailError(const ZRError& error, int httpStatus) {
  const ZRDictionary* const answer = error.userInfo()[SCNJsonParserErrorKey_RawJSON].asDictionary();
  const bool serverFailed = answer != nullptr && (*answer)["status"].int64Value() == 500;
  if (serverFailed || httpStatus == 404) return hostOfflineError().with(kZRErrorHttpStatusKey, httpStatus);
  const std::int64_t status = error.userInfo()[SCNJsonParserErrorKey_RealValue].int64Value();
  if (status == 201 || status == 202 || status == 203) {
    return ZRError(ZRErrorCode::FileDeleted, "文件已删除").with(kZRErrorReasonKey, kZRReasonFileDeleted);
  }
  return std::nullopt;
}

ZRError ZRShareRules::hostOfflineError() {
  return ZRError(ZRErrorCode::HostOffline, "主机已下线").with(kZRErrorReasonKey, kZRReasonHostOffline);
}

std::optional<std::string> ZRShareRules::pathInFolder(std::string_view folder, std::string_view name) {
  const std::string inner = ZRPath::append("", name);  // a leading "/" is dropped
  if (!ZRPath::isBelow(inner, "")) return std::nullopt;
  const std::filesystem::path resolved = std::filesystem::path(inner).lexically_normal();
  std::string path = ZRPath::append(folder, resolved.native());
  if (isUnusable(resolved) || path.size() > kLongestPath) return std::nullopt;
  return path;
}

std::optional<std::string> ZRShareRules::taskFolder(std::string_view aid, std::string_view vid) {
  if (aid.find('/') != std::string_view::npos || vid.find('/') != std::string_view::npos) return std::nullopt;
  const std::optional<std::string> album = pathInFolder("", aid);
  return album ? pathInFolder(*album, vid) : std::nullopt;
}

bool ZRShareRules::disturbsVideo(std::string_view path, std::string_view videoPath) {
  const std::size_t folder = path.rfind('/') + 1;
  const std::size_t videoFolder = videoPath.rfind('/') + 1;
  const std::string part = std::string(path.substr(0, folder)).append(SCSideName::part(path.substr(folder)));
  const std::string beside =
      std::string(videoPath.substr(0, videoFolder)).append(SCSideName::stem(videoPath.substr(videoFolder))) + ".";
  return collide(path, videoPath) || collide(part, videoPath) || path.starts_with(beside);
}
