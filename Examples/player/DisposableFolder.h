#pragma once

#include <string>

#include <sys/types.h>

namespace player {

/// A new folder below the system's temporary one that goes with this process, however that ends: by its destructor, by
/// a signal, by a crash. A process of its own makes the folder, waits until this one is gone, and deletes it.
class DisposableFolder final {
 public:
  /// Throws std::system_error when it cannot be made.
  DisposableFolder();
  ~DisposableFolder();
  DisposableFolder(const DisposableFolder&) = delete;
  DisposableFolder& operator=(const DisposableFolder&) = delete;

  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
  int line_ = -1;  // to the keeper, which reads until it ends
  pid_t keeper_ = -1;
};

}  // namespace player
