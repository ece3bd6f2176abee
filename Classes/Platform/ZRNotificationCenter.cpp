#include "ZRNotificationCenter.h"

#include <utility>

#include "ZRThreadCheck.h"

ZRNotificationCenter& ZRNotificationCenter::defaultCenter() {
  static ZRNotificationCenter center;
  return center;
}

ZRNotificationCenter::Token ZRNotificationCenter::addObserver(std::string_view name, Observer observer) {
  zrAssertLoopThread();
  std::erase_if(entries_, [](const Entry& entry) { return entry.observer.expired(); });
  auto owned = std::make_shared<Observer>(std::move(observer));
  entries_.push_back({std::string(name), owned});
  return owned;
}

void ZRNotificationCenter::post(std::string_view name, std::shared_ptr<ZRObject> object) {
  zrAssertLoopThread();
  std::vector<std::weak_ptr<Observer>> observers;  // a copy: observers come and go while they are called
  for (const Entry& entry : entries_) {
    if (entry.name == name) observers.push_back(entry.observer);
  }
  const ZRNotification notification{std::string(name), std::move(object)};
  for (const std::weak_ptr<Observer>& weak : observers) {
    const std::shared_ptr<Observer> observer = weak.lock();
    if (observer && *observer) (*observer)(notification);
  }
}
