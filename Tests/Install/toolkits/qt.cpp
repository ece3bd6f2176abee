// The library's loop is Qt's: work that is posted to the one runs in the other.

#include <QCoreApplication>
#include <memory>

// [include]
#include <ZRDownloadKit/ZRQtRunLoop.h>
// [include]

int main(int argc, char** argv) {
  // [loop]
  QCoreApplication app(argc, argv);
  ZRRunLoop::setMain(std::make_shared<ZRQtRunLoop>());
  // [loop]
  ZRRunLoop::main()->post([] { QCoreApplication::exit(0); });
  return QCoreApplication::exec();
}
