#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZRExport.h"
#include "ZRObject.h"

/// What was posted: a name and the object it is about.
struct ZRNotification {
  std::string name;                  ///< one of the constants of ZRDownloadManager.h
  std::shared_ptr<ZRObject> object;  ///< the task it is about

  /// The object as a T; null when it is something else.
  template <class T>
  std::shared_ptr<T> objectAs() const {
    return std::dynamic_pointer_cast<T>(object);
  }
};

/// Broadcasts named events to whoever observes them. Main loop's thread only, which a debug build asserts in both
/// operations; it does not when a token ends.
class ZR_EXPORT ZRNotificationCenter {
 public:
  /// Called with what was posted; it may add and end observations.
  using Observer = std::function<void(const ZRNotification&)>;

  /// Ends the observation when it is destroyed or reset.
  using Token = std::shared_ptr<void>;

  /// The center that the library posts to.
  static ZRNotificationCenter& defaultCenter();

  /// Calls `observer` for every notification of that name while the token lives. An observer added during a post is
  /// first called by the next one; one that ends during a post is called no more.
  [[nodiscard]] Token addObserver(std::string_view name, Observer observer);

  /// Calls the observers of `name` in the order in which they were added, before it returns.
  void post(std::string_view name, std::shared_ptr<ZRObject> object);

 private:
  struct Entry {
    std::string name;
    std::weak_ptr<Observer> observer;
  };
  std::vector<Entry> entries_;
};
