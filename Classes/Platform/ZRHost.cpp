#include "ZRHost.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace {

ZRHostInfo& currentInfo() {
  static ZRHostInfo info = ZRHostInfo::defaults();
  return info;
}

ZRHost::VolumeProbe& currentProbe() {
  static ZRHost::VolumeProbe probe;
  return probe;
}

}  // namespace

const ZRHostInfo& ZRHost::current() {
  return currentInfo();
}

void ZRHost::setCurrent(ZRHostInfo info) {
  currentInfo() = std::move(info);
}

std::variant<ZRHost::VolumeSpace, ZRError> ZRHost::volumeSpace(const std::string& path) {
  if (currentProbe()) return currentProbe()(path);
  std::error_code error;
  const std::filesystem::space_info space = std::filesystem::space(path, error);
  if (error) return ZRError(kZRPOSIXErrorDomain, error.value(), error.message());
  return VolumeSpace{space.capacity, space.available};
}

void ZRHost::setVolumeProbe(VolumeProbe probe) {
  currentProbe() = std::move(probe);
}
