#include "ZRBaseFolders.h"

#include "ZRDownloadManager.h"
#include "ZRHost.h"
#include "ZRPath.h"

std::string ZRBaseFolders::application() {
  const ZRHostInfo& host = ZRHost::current();
  return ZRPath::append(host.applicationSupportFolder, host.bundleIdentifier);
}

std::string ZRBaseFolders::downloads() {
  return ZRPath::append(application(), kDownloadDir);
}

std::string ZRBaseFolders::shares() {
  return ZRPath::append(ZRHost::current().moviesFolder, kShareDownloadDir);
}
