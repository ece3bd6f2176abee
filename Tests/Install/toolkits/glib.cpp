// The library's loop is GLib's: work that is posted to the one runs in the other.

#include <memory>

#include <ZRDownloadKit/ZRGLibRunLoop.h>

int main() {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  ZRRunLoop::setMain(std::make_shared<ZRGLibRunLoop>());
  ZRRunLoop::main()->post([loop] { g_main_loop_quit(loop); });
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
}
