// A host on Qt: `Qt6RunLoopHost URL BYTES` downloads a film, goes on with it in the next run, and says where it is.

#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "FilmHost.h"
#include "ZRQtRunLoop.h"

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  if (argc != 3) return std::fputs("usage: Qt6RunLoopHost URL BYTES\n", stderr), 2;
  ZRRunLoop::setMain(std::make_shared<ZRQtRunLoop>());
  const FilmHost host(argv[1], std::atoll(argv[2]), &QCoreApplication::exit);
  return QCoreApplication::exec();
}
