#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// A new folder below the system's temporary folder, deleted with everything in it at the end.
class TemporaryFolder final {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const noexcept { return path_; }

  /// Absolute path of `name` inside the folder.
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// Writes `bytes` as the whole file, its folder made first.
void writeFile(const std::filesystem::path& file, std::string_view bytes);

/// The whole file; empty when there is none.
std::string readFile(const std::filesystem::path& file);

/// `size` bytes that differ with the position and with `seed`.
std::string patternBytes(std::size_t size, unsigned seed = 1);
