#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "ZRDefaultRunLoop.h"
#include "ZRHostReply.h"
#include "ZRValue.h"

namespace {

class ZRHostReplyTest : public ::testing::Test {
 protected:
  ZRHostReplyTest() { ZRRunLoop::setMain(loop_); }
  ~ZRHostReplyTest() override { ZRRunLoop::setMain(nullptr); }

  /// A completion whose answers are written into `task`.
  static ZRReplyCompletion replyTo(const std::shared_ptr<std::string>& task) {
    return ZRHostReply(std::weak_ptr(task), [](std::string& text, const auto& reply, const auto& error) {
      text += reply ? (*reply)["k"].textValue().value_or("") : error->localizedDescription();
    });
  }

  static ZRDictionary reply(const char* text) { return {{"k", text}}; }

  const std::shared_ptr<ZRDefaultRunLoop> loop_ = std::make_shared<ZRDefaultRunLoop>();
  std::shared_ptr<std::string> task_ = std::make_shared<std::string>();
};

TEST_F(ZRHostReplyTest, theFirstCallCountsInsideItselfOrPostedFromAnotherThread) {
  const ZRReplyCompletion completion = replyTo(task_);
  const ZRReplyCompletion copy = completion;
  completion(std::nullopt, ZRError("host", 1, "a"));
  copy(reply("b"), std::nullopt);
  EXPECT_EQ(*task_, "a");
  const ZRReplyCompletion other = replyTo(task_);
  std::thread([&] { other(reply("c"), std::nullopt); }).join();
  other(reply("d"), std::nullopt);
  EXPECT_EQ(*task_, "a");
  loop_->drain();
  EXPECT_EQ(*task_, "ac");
}

TEST_F(ZRHostReplyTest, aTaskThatIsGoneGetsNoAnswerAndAnAnswerHoldsNothing) {
  const ZRReplyCompletion late = replyTo(task_);
  std::thread([&] { late(reply("a"), std::nullopt); }).join();
  task_.reset();
  loop_->drain();
  const auto held = std::make_shared<int>();
  const ZRHostReply completion([held](const auto&, const auto&) {});
  completion(std::nullopt, std::nullopt);
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
