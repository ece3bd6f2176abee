#include "ZRHostReply.h"

ZRHostReply::ZRHostReply(ZRReplyCompletion answered) {
  pending_->answered = std::move(answered);
}

void ZRHostReply::operator()(const std::optional<ZRDictionary>& reply, const std::optional<ZRError>& error) const {
  if (pending_->isAnswered.exchange(true)) return;
  if (loop_->isLoopThread()) return deliver(*pending_, reply, error);
  loop_->post([pending = pending_, reply, error] { deliver(*pending, reply, error); });
}

void ZRHostReply::deliver(Pending& pending, const std::optional<ZRDictionary>& reply,
                          const std::optional<ZRError>& error) {
  const ZRReplyCompletion answered = std::exchange(pending.answered, nullptr);  // the host may keep its completion
  answered(reply, error);
}
