#include <cstdio>

#include "ZRDownloadKit.h"

int main() {
  std::puts(ZRDownloadKitVersionString);
}
