// A host on GLib: `GLibRunLoopHost URL BYTES` downloads a film, goes on with it in the next run, and says where it is.

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "FilmHost.h"
#include "ZRGLibRunLoop.h"

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: GLibRunLoopHost URL BYTES\n", stderr), 2;
  const std::unique_ptr<GMainLoop, void (*)(GMainLoop*)> loop(g_main_loop_new(nullptr, FALSE), &g_main_loop_unref);
  int status = 0;
  ZRRunLoop::setMain(std::make_shared<ZRGLibRunLoop>());
  const FilmHost host(argv[1], std::atoll(argv[2]), [&](int result) {
    status = result;
    g_main_loop_quit(loop.get());
  });
  g_main_loop_run(loop.get());
  return status;
}
