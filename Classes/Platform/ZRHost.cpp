#include "ZRHost.h"

#include <utility>

namespace {

ZRHostInfo& currentInfo() {
  static ZRHostInfo info = ZRHostInfo::defaults();
  return info;
}

}  // namespace

const ZRHostInfo& ZRHost::current() {
  return currentInfo();
}

void ZRHost::setCurrent(ZRHostInfo info) {
  currentInfo() = std::move(info);
}
