#include "ZRPath.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

namespace {

using Components = std::vector<std::string_view>;

bool isAbsolute(std::string_view path) {
  return path.starts_with('/');
}

/// What stands between the slashes, empty components left out.
Components components(std::string_view path) {
  Components result;
  while (!path.empty()) {
    const std::string_view component = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(component.size() + 1, path.size()));
    if (!component.empty()) result.push_back(component);
  }
  return result;
}

/// The components with "." and ".." resolved; nothing when a relative path climbs out of where it starts. The root is
/// its own parent.
std::optional<Components> resolved(std::string_view path) {
  Components result;
  for (const std::string_view component : components(path)) {
    if (component == ".") continue;
    if (component != "..") {
      result.push_back(component);
    } else if (!result.empty()) {
      result.pop_back();
    } else if (!isAbsolute(path)) {
      return std::nullopt;
    }
  }
  return result;
}

bool holdsNul(std::string_view path) {
  return path.find('\0') != std::string_view::npos;
}

}  // namespace

std::string ZRPath::append(std::string_view base, std::string_view sub) {
  std::string result(base);
  for (const std::string_view component : components(sub)) {
    while (result.ends_with('/')) result.pop_back();
    if (!base.empty()) result += '/';
    result += component;
    base = result;
  }
  return result;
}

bool ZRPath::isBelow(std::string_view path, std::string_view folder) {
  if (holdsNul(path) || holdsNul(folder) || isAbsolute(path) != isAbsolute(folder)) return false;
  const std::optional<Components> inner = resolved(path);
  const std::optional<Components> outer = resolved(folder);
  return inner && outer && inner->size() > outer->size() && std::equal(outer->begin(), outer->end(), inner->begin());
}

bool ZRPath::exists(std::string_view path) {
  if (holdsNul(path)) return false;
  std::error_code unreachable;  // counts as missing
  return std::filesystem::exists(std::filesystem::path(path), unreachable);
}
