#include "BenchmarkHost.h"

#include <cstdlib>
#include <stdexcept>

#include "ZRDownloadKit.h"

BenchmarkHost::BenchmarkHost(const std::filesystem::path& parent) {
  std::string name = (parent / "zrbenchmark.XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the benchmark");
  folder_ = name;
  ZRHostInfo host = ZRHostInfo::defaults();
  host.bundleIdentifier = "benchmark";
  host.applicationSupportFolder = (folder_ / "support").string();
  host.moviesFolder = (folder_ / "movies").string();
  ZRHost::setCurrent(host);
}

BenchmarkHost::~BenchmarkHost() {
  ZRDownloadManager::shutdown();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}
