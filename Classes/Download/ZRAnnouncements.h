#pragma once

#include <deque>
#include <memory>
#include <utility>

class ZRDownloadTask;

/// Holds the notifications about tasks back until the operation that moved them has done all its work, so that an
/// observer sees lists and states that fit each other and may call the manager. What an observer sets off is posted
/// after the notification that it is in.
///
/// Main loop's thread only. Shared by the manager and the holds, for an observer may end the manager.
class ZRAnnouncements final : public std::enable_shared_from_this<ZRAnnouncements> {
 public:
  /// While one lives nothing is posted; the end of the outermost one posts.
  class Hold final {
   public:
    explicit Hold(ZRAnnouncements& announcements);
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    const std::shared_ptr<ZRAnnouncements> announcements_;
  };

  /// Posts `name` with the task as soon as nothing holds it back; the same twice running is posted once.
  void add(const char* name, std::shared_ptr<ZRDownloadTask> task);

  /// Forgets what was not posted.
  void clear() { pending_.clear(); }

 private:
  void postUnlessHeld();

  int holds_ = 0;
  bool posting_ = false;
  std::deque<std::pair<const char*, std::shared_ptr<ZRDownloadTask>>> pending_;
};
