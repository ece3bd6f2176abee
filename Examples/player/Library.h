#pragma once

#include <memory>

#include "Callbacks.h"
#include "ZRDownloadKit.h"

namespace player {

/// The library set up for this host: who it is, Qt's event loop as the main loop, and the callbacks through which the
/// library asks. Made on the thread of the application object, which it may outlive; one at a time. It ends the library
/// when it is destroyed.
class Library final {
 public:
  Library(ZRHostInfo host, site::Answers answers);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  ZRDownloadManager& manager() { return *manager_; }

 private:
  const std::shared_ptr<ZRRunLoop> loop_;
  site::Callbacks site_;
  std::shared_ptr<ZRDownloadManager> manager_;
};

}  // namespace player
