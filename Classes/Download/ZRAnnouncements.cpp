#include "ZRAnnouncements.h"

#include "ZRDownloadTask.h"
#include "ZRNotificationCenter.h"
#include "ZRThreadCheck.h"

ZRAnnouncements::Hold::Hold(ZRAnnouncements& announcements) : announcements_(announcements.shared_from_this()) {
  ++announcements_->holds_;
}

ZRAnnouncements::Hold::~Hold() {
  --announcements_->holds_;
  announcements_->postUnlessHeld();
}

void ZRAnnouncements::add(const char* name, std::shared_ptr<ZRDownloadTask> task) {
  zrAssertLoopThread();
  std::pair announcement(name, std::move(task));
  if (pending_.empty() || pending_.back() != announcement) pending_.push_back(std::move(announcement));
  postUnlessHeld();
}

void ZRAnnouncements::postUnlessHeld() {
  if (holds_ > 0 || posting_) return;
  posting_ = true;
  while (!pending_.empty()) {
    const auto [name, task] = std::move(pending_.front());
    pending_.pop_front();
    ZRNotificationCenter::defaultCenter().post(name, task);
  }
  posting_ = false;
}
