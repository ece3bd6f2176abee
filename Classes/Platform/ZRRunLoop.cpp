#include "ZRRunLoop.h"

#include <mutex>
#include <utility>

#include "ZRDefaultRunLoop.h"

namespace {

struct MainLoop {
  std::mutex mutex;
  std::shared_ptr<ZRRunLoop> loop;
};

/// Never destroyed, so that threads that outlive the end of `main` still find it.
MainLoop& mainLoop() {
  static MainLoop& instance = *new MainLoop;
  return instance;
}

}  // namespace

ZRRunLoop::~ZRRunLoop() = default;

std::shared_ptr<ZRRunLoop> ZRRunLoop::main() {
  MainLoop& current = mainLoop();
  const std::lock_guard lock(current.mutex);
  if (!current.loop) current.loop = std::make_shared<ZRDefaultRunLoop>();
  return current.loop;
}

void ZRRunLoop::setMain(std::shared_ptr<ZRRunLoop> loop) {
  MainLoop& current = mainLoop();
  const std::lock_guard lock(current.mutex);
  current.loop.swap(loop);  // the old one goes with the parameter, after the lock
}
