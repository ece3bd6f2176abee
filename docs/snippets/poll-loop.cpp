#include <poll.h>
#include <sys/eventfd.h>

#include "Snippets.h"

// [poll]
/// `wakeFd` is an eventfd of the host, open until the library has ended.
void runWithPoll(ZRDefaultRunLoop& loop, int wakeFd, const std::function<bool()>& isOver) {
  loop.setWakeup([wakeFd] { ::eventfd_write(wakeFd, 1); });
  while (!isOver()) {
    pollfd wake{wakeFd, POLLIN, 0};  // and whatever else the host waits for
    if (::poll(&wake, 1, loop.pollTimeout()) > 0) {
      eventfd_t ignored = 0;
      ::eventfd_read(wakeFd, &ignored);
    }
    loop.drain();
  }
}
// [poll]
