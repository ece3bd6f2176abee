#include "Library.h"

#include <utility>

#include "ZRQtRunLoop.h"

namespace player {
Library::Library(ZRHostInfo host, site::Answers answers)
    : loop_(std::make_shared<ZRQtRunLoop>()), site_(std::move(answers), loop_) {
  ZRRunLoop::setMain(loop_);
  ZRHost::setCurrent(std::move(host));
  manager_ = ZRDownloadManager::sharedManager();
  manager_->setup(site_.options());
}

Library::~Library() {
  site_.stop();
  manager_.reset();
  ZRDownloadManager::shutdown();
}

}  // namespace player
