#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

/// An origin in a process of its own, so that its processor time is not counted with the measured one: serves the files
/// of a folder on loopback, straight from the page cache, one connection at a time.
class SendfileOrigin final {
 public:
  /// Forks; to be called before the process has threads.
  explicit SendfileOrigin(const std::string& folder);
  ~SendfileOrigin();
  SendfileOrigin(const SendfileOrigin&) = delete;
  SendfileOrigin& operator=(const SendfileOrigin&) = delete;

  /// The address of a file of the folder; `path` begins with "/".
  std::string url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

 private:
  std::uint16_t port_ = 0;
  pid_t child_ = -1;
};
