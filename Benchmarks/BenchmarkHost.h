#pragma once

#include <filesystem>

/// A host of the library for one measurement: files below a new folder of `parent`, deleted at the end.
class BenchmarkHost final {
 public:
  explicit BenchmarkHost(const std::filesystem::path& parent = std::filesystem::temp_directory_path());
  ~BenchmarkHost();
  BenchmarkHost(const BenchmarkHost&) = delete;
  BenchmarkHost& operator=(const BenchmarkHost&) = delete;

  const std::filesystem::path& folder() const noexcept { return folder_; }

 private:
  std::filesystem::path folder_;
};
