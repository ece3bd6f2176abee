#pragma once

#include <functional>
#include <memory>

#include "Answers.h"
#include "ZRDownloadKit.h"

namespace site {

/// The callbacks through which the library asks, answered from `Answers` in a later turn of the loop, as by a host
/// that asks its site. Owned by that host; main loop's thread only.
class Callbacks final {
 public:
  Callbacks(Answers answers, std::shared_ptr<ZRRunLoop> loop);
  Callbacks(const Callbacks&) = delete;
  Callbacks& operator=(const Callbacks&) = delete;

  /// The options of `setup` that hold the callbacks. The library uses them until it ends, so it must end before this.
  ZRDictionary options();

  /// Ends what decrypts, on threads that answer the library; to be called before the library ends.
  void stop() { answers_.decryptor.reset(); }

 private:
  void answerPlaybackKey(ZRReplyCompletion completion);
  void decryptPlaylist(const ZRDictionary& request, ZRReplyCompletion completion);
  void answerMp4Info(const ZRDictionary& request, ZRReplyCompletion completion);

  /// Lets the loop do the work, unless this ends before.
  void post(std::function<void()> work);

  Answers answers_;
  const std::shared_ptr<ZRRunLoop> loop_;
  const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace site
