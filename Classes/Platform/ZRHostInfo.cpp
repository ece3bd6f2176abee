#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "ZRHost.h"
#include "ZRPath.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace {

/// The variable's value when it is an absolute path. The XDG base directory rules have all others ignored.
std::optional<std::string> folderInEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  if (value == nullptr || *value != '/') return std::nullopt;
  return value;
}

std::string homePath() {
  if (const auto home = folderInEnvironment("HOME")) return *home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  const int failure = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
  return failure == 0 && found != nullptr ? found->pw_dir : "/";
}

#ifdef __APPLE__

std::string executableName() {
  std::string path(4096, '\0');
  auto size = static_cast<std::uint32_t>(path.size());
  if (::_NSGetExecutablePath(path.data(), &size) != 0) return {};
  return std::filesystem::path(path.c_str()).filename().string();
}

std::string supportPath(const std::string& home) {
  return ZRPath::append(home, "Library/Application Support");
}

std::string moviesPath(const std::string& home) {
  return ZRPath::append(home, "Movies");
}

#else

std::string executableName() {
  std::error_code unknown;  // leaves the name empty
  return std::filesystem::read_symlink("/proc/self/exe", unknown).filename().string();
}

std::string supportPath(const std::string& home) {
  return folderInEnvironment("XDG_DATA_HOME").value_or(ZRPath::append(home, ".local/share"));
}

/// The path in a line `XDG_VIDEOS_DIR="$HOME/Videos"` or `XDG_VIDEOS_DIR="/videos"` of user-dirs.dirs; nothing when the
/// line says something else.
std::optional<std::string> videosFolderInLine(std::string_view line, const std::string& home) {
  constexpr std::string_view kStart = "XDG_VIDEOS_DIR=\"";
  constexpr std::string_view kHome = "$HOME";
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  if (!line.starts_with(kStart)) return std::nullopt;
  line.remove_prefix(kStart.size());
  line = line.substr(0, line.find('"'));
  if (line.starts_with('/')) return std::string(line);
  if (line != kHome && !line.starts_with("$HOME/")) return std::nullopt;
  return ZRPath::append(home, line.substr(kHome.size()));
}

std::string moviesPath(const std::string& home) {
  if (const auto folder = folderInEnvironment("XDG_VIDEOS_DIR")) return *folder;
  std::string result = ZRPath::append(home, "Videos");
  const std::string config = folderInEnvironment("XDG_CONFIG_HOME").value_or(ZRPath::append(home, ".config"));
  std::ifstream file(ZRPath::append(config, "user-dirs.dirs"));
  for (std::string line; std::getline(file, line);) {
    if (const auto folder = videosFolderInLine(line, home)) result = *folder;
  }
  return result;
}

#endif

}  // namespace

ZRHostInfo ZRHostInfo::defaults() {
  const std::string name = executableName();
  ZRHostInfo info;
  info.bundleIdentifier = name.empty() ? "ZRDownloadKit" : name;
  info.homeFolder = homePath();
  info.applicationSupportFolder = supportPath(info.homeFolder);
  info.moviesFolder = moviesPath(info.homeFolder);
  return info;
}
