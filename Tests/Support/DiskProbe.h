#pragma once

#include <functional>
#include <set>
#include <string>

/// Watches what the test's process brings to the disk with fsync, fdatasync and syncfs, the store's file included. One
/// at a time; any thread syncs.
class DiskProbe final {
 public:
  /// Called before each sync with the path of the file or folder; an error number fails the sync, 0 lets it happen.
  using Hook = std::function<int(const std::string& path)>;

  DiskProbe();
  ~DiskProbe();
  DiskProbe(const DiskProbe&) = delete;
  DiskProbe& operator=(const DiskProbe&) = delete;

  void setHook(Hook hook);

  /// Everything that was synced since the last call.
  std::set<std::string> takeSynced();
};
