#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

#include "ZRHostCallbacks.h"
#include "ZRRunLoop.h"

/// The completion that a host gets with a request of a task. Of its calls the first one counts, on whatever thread it
/// is made; the answer arrives on the main loop, inside that call if it is made there. Copies are the same completion.
///
/// An answer is for the task that asked: one that is gone gets none, and one that was removed has no row that the
/// answer could write (`ZRTaskRunner::_cleanTSAndTaskInDB`).
class ZRHostReply final {
 public:
  explicit ZRHostReply(ZRReplyCompletion answered);

  /// Calls `answered(task, reply, error)` unless the task is gone by then.
  template <class Task, class Answered>
  ZRHostReply(std::weak_ptr<Task> weak, Answered answered)
      : ZRHostReply([weak = std::move(weak), answered = std::move(answered)](const std::optional<ZRDictionary>& reply,
                                                                             const std::optional<ZRError>& error) {
          if (const auto task = weak.lock()) answered(*task, reply, error);
        }) {}

  /// Any thread.
  void operator()(const std::optional<ZRDictionary>& reply, const std::optional<ZRError>& error) const;

 private:
  struct Pending {
    std::atomic<bool> isAnswered = false;
    ZRReplyCompletion answered;  // the main loop's
  };

  static void deliver(Pending& pending, const std::optional<ZRDictionary>& reply, const std::optional<ZRError>& error);

  std::shared_ptr<Pending> pending_ = std::make_shared<Pending>();
  std::shared_ptr<ZRRunLoop> loop_ = ZRRunLoop::main();
};
