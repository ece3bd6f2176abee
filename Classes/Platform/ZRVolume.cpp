#include "ZRVolume.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "ZRThreadCheck.h"

namespace {

ZRVolume::Probe& currentProbe() {
  static ZRVolume::Probe probe;
  return probe;
}

}  // namespace

ZRVolume::Measured ZRVolume::at(const std::string& path) {
  zrAssertLoopThread();
  if (currentProbe()) return currentProbe()(path);
  std::error_code error;
  const std::filesystem::space_info space = std::filesystem::space(path, error);
  if (error) return ZRError(kZRPOSIXErrorDomain, error.value(), error.message());
  return ZRVolume{space.capacity, space.available};
}

void ZRVolume::setProbe(Probe probe) {
  currentProbe() = std::move(probe);
}
