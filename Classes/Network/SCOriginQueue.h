#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>

/// Whose turn it is among plain requests: of each origin (scheme, host, port) a few are in flight at once, the others
/// wait and follow in the order in which they came. So a crowd of requests neither floods a server nor uses up the
/// process's descriptors. Downloads do not pass through it.
///
/// A request counts at the origin that it is first sent to, wherever a redirect leads it. `Item` is what waits. One
/// thread.
template <class Item>
class SCOriginQueue final {
 public:
  /// As many as a browser opens connections to one server.
  static constexpr std::size_t kInFlight = 6;

  /// Gives the item back when it is its turn, and counts it as in flight; else keeps it.
  std::unique_ptr<Item> enter(const std::string& origin, std::unique_ptr<Item> item) {
    Line& line = lines_[origin];
    if (line.inFlight == kInFlight) {
      line.waiting.push_back(std::move(item));
      return nullptr;
    }
    ++line.inFlight;
    return item;
  }

  /// One that was in flight has ended: the next one of that origin, which takes its place; null when none waits.
  std::unique_ptr<Item> leave(const std::string& origin) {
    const auto line = lines_.find(origin);
    if (line == lines_.end()) return nullptr;
    if (line->second.waiting.empty()) {
      if (--line->second.inFlight == 0) lines_.erase(line);
      return nullptr;
    }
    std::unique_ptr<Item> next = std::move(line->second.waiting.front());
    line->second.waiting.pop_front();
    return next;
  }

  /// Takes out the first one that waits and fulfils `predicate`; null when there is none.
  template <class Predicate>
  std::unique_ptr<Item> remove(Predicate predicate) {
    for (auto& [origin, line] : lines_) {
      const auto found = std::ranges::find_if(line.waiting, [&](const auto& item) { return predicate(*item); });
      if (found == line.waiting.end()) continue;
      std::unique_ptr<Item> item = std::move(*found);
      line.waiting.erase(found);
      return item;
    }
    return nullptr;
  }

 private:
  struct Line {
    std::size_t inFlight = 0;
    std::deque<std::unique_ptr<Item>> waiting;
  };

  std::map<std::string, Line> lines_;
};
