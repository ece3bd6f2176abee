#include "SCDescriptorWait.h"

#include <array>
#include <cerrno>
#include <exception>

#include <fcntl.h>

#include "ZRFileDescriptor.h"

namespace {

/// How long a request waits when nothing else ends in between.
constexpr std::chrono::milliseconds kNextTry{250};

/// Whether the process lacks the few descriptors that a name's look-up takes.
bool areShort() {
  std::array<ZRFileDescriptor, 4> probes;
  for (ZRFileDescriptor& probe : probes) {
    probe = ZRFileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!probe) return ZRFileDescriptor::isShortage(errno);
  }
  return false;
}

}  // namespace

bool SCDescriptorWait::isReason(bool isRefused, bool isLookUp, Clock::time_point now) {
  if (isRefused || (isLookUp && areShort())) lackedAt_ = now;
  return isRefused || (isLookUp && now - lackedAt_ < kNextTry);
}

bool SCDescriptorWait::enter(SCCurlChannel& channel, Clock::time_point now) noexcept {
  try {
    waiting_.emplace_back(&channel, now + kNextTry);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void SCDescriptorWait::remove(const SCCurlChannel& channel) noexcept {
  std::erase_if(waiting_, [&channel](const auto& waiting) { return waiting.first == &channel; });
}

void SCDescriptorWait::hurry() noexcept {
  if (!waiting_.empty()) waiting_.front().second = {};
}

SCCurlChannel* SCDescriptorWait::takeDue(Clock::time_point now) noexcept {
  if (now < nextAt()) return nullptr;
  SCCurlChannel* const due = waiting_.front().first;
  waiting_.pop_front();
  return due;
}

SCDescriptorWait::Clock::time_point SCDescriptorWait::nextAt() const noexcept {
  return waiting_.empty() ? Clock::time_point::max() : waiting_.front().second;
}
