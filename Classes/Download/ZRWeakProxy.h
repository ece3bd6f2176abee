#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

/// Forwards calls to a target that it holds weakly: what a timer or a deferred call holds in place of a task. A call
/// whose target is gone does nothing and gives the result type's zero.
template <class Target>
class ZRWeakProxy final {
 public:
  static ZRWeakProxy weakProxyWithTarget(std::weak_ptr<Target> target) { return ZRWeakProxy(std::move(target)); }

  explicit ZRWeakProxy(std::weak_ptr<Target> target) : target_(std::move(target)) {}

  /// The target; null once it is gone.
  std::shared_ptr<Target> target() const { return target_.lock(); }

  template <class Operation, class... Args>
  auto forward(Operation operation, Args&&... args) const {
    using Result = std::decay_t<std::invoke_result_t<Operation, Target&, Args...>>;
    const std::shared_ptr<Target> alive = target();
    if constexpr (std::is_void_v<Result>) {
      if (alive) std::invoke(operation, *alive, std::forward<Args>(args)...);
    } else {
      return alive ? Result(std::invoke(operation, *alive, std::forward<Args>(args)...)) : Result();
    }
  }

  /// `operation` of the target as a callback without arguments.
  std::function<void()> action(void (Target::*operation)()) const {
    return [proxy = *this, operation] { proxy.forward(operation); };
  }

  bool isProxy() const noexcept { return true; }
  bool isEqual(const Target* other) const { return other != nullptr && target().get() == other; }
  std::size_t hash() const { return std::hash<std::shared_ptr<Target>>()(target()); }
  std::optional<std::string> description() const { return said(&Target::description); }
  std::optional<std::string> debugDescription() const { return said(&Target::debugDescription); }

 private:
  std::optional<std::string> said(std::string (Target::*text)() const) const {
    const std::shared_ptr<Target> alive = target();
    return alive ? std::optional(((*alive).*text)()) : std::nullopt;
  }

  std::weak_ptr<Target> target_;
};
