#pragma once

#include <memory>
#include <string>

namespace zrdl {

/// A web server on loopback that holds the demo's video, with ranges and a strong ETag, and sends it at the pace of a
/// quick home connection.
class DemoOrigin final {
 public:
  /// Throws `std::runtime_error` when no port can be had.
  DemoOrigin();
  ~DemoOrigin();
  DemoOrigin(const DemoOrigin&) = delete;
  DemoOrigin& operator=(const DemoOrigin&) = delete;

  std::string videoAddress() const;

 private:
  struct Server;
  const std::unique_ptr<Server> server_;
};

}  // namespace zrdl
