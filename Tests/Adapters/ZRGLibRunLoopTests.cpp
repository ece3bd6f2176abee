#include <memory>
#include <thread>
#include <vector>

#include "AdapterContract.h"
#include "LoopDownload.h"
#include "ZRGLibRunLoop.h"

class GLibHost final : public LoopHost {
 public:
  explicit GLibHost(GMainContext* context = nullptr)
      : LoopHost(std::make_shared<ZRGLibRunLoop>(context)), context_(context) {}

  bool iterate() override { return g_main_context_iteration(nullptr, FALSE) != FALSE; }

 private:
  void enter() override {
    running_.push_back(g_main_loop_new(context_, FALSE));
    GSource* const limit = g_timeout_source_new_seconds(kLimit.count());
    const auto giveUp = [](gpointer main) -> gboolean {
      g_main_loop_quit(static_cast<GMainLoop*>(main));
      return G_SOURCE_CONTINUE;
    };
    g_source_set_callback(limit, giveUp, running_.back(), nullptr);
    g_source_attach(limit, context_);
    g_main_loop_run(running_.back());
    g_source_destroy(limit);
    g_source_unref(limit);
    g_main_loop_unref(running_.back());
    running_.pop_back();
  }
  void leave() override { g_main_loop_quit(running_.back()); }

  GMainContext* const context_;
  std::vector<GMainLoop*> running_;
};

std::unique_ptr<LoopHost> makeHost(const std::string&) {
  return std::make_unique<GLibHost>();
}

INSTANTIATE_TEST_SUITE_P(GLib, RunLoopContract, testing::Values("main"));
INSTANTIATE_TEST_SUITE_P(GLib, AdapterContract, testing::Values("main"));
INSTANTIATE_TEST_SUITE_P(GLib, LoopDownload, testing::Values("main"));

TEST(ZRGLibRunLoop, belongsToTheThreadThatIteratesItsContext) {
  GMainContext* const context = g_main_context_new();
  {
    GLibHost host(context);
    EXPECT_TRUE(host.loop->isLoopThread());
    bool ran = false;
    host.loop->post([&] { ran = host.loop->isLoopThread(); });
    host.settle();
    EXPECT_FALSE(ran) << "on the default context";
    std::thread([&host] {
      host.loop->postDelayed(1ms, [&host] { host.quit(); });
      EXPECT_TRUE(host.run());
    }).join();
    EXPECT_TRUE(ran);
    EXPECT_FALSE(host.loop->isLoopThread());
  }
  g_main_context_unref(context);
}
