#include "ExitNotice.h"

#include <string_view>
#include <system_error>
#include <thread>

#include <unistd.h>

#include "ZRDownloadKit.h"

namespace zrdl {
namespace {

namespace fs = std::filesystem;

/// How the name of a folder that the library is about to delete begins.
constexpr std::string_view kSetAside = ".removing-";

/// Whether `matches` says so of an entry of the folder; an unreadable one has none.
template <class Predicate>
bool anyEntry(const fs::path& folder, Predicate matches) {
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    if (matches(it->path())) return true;
  }
  return false;
}

bool isSetAside(const fs::path& folder) {
  return folder.filename().string().starts_with(kSetAside);
}

}  // namespace

RemovalFolders RemovalFolders::current() {
  const ZRHostInfo& host = ZRHost::current();
  return {.downloads = fs::path(host.applicationSupportFolder) / host.bundleIdentifier / kDownloadDir,
          .shares = fs::path(host.moviesFolder) / kShareDownloadDir};
}

bool RemovalFolders::areInUse() const {
  return anyEntry(downloads, isSetAside) ||
         anyEntry(shares, [](const fs::path& album) { return anyEntry(album, isSetAside); });
}

void explainSlowExit(const RemovalFolders& folders, std::chrono::milliseconds patience) {
  try {
    std::thread([folders, patience] {
      std::this_thread::sleep_for(patience);
      if (!folders.areInUse()) return;
      constexpr std::string_view kText =
          "zrdl: deleting the files of removed tasks; an interrupt leaves that for later\n";
      [[maybe_unused]] const ssize_t written =
          ::write(STDERR_FILENO, kText.data(), kText.size());  // streams end meanwhile
    }).detach();
  } catch (const std::system_error&) {  // no thread to be had: the exit goes unexplained
  }
}

}  // namespace zrdl
