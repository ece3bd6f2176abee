#include "ExitNotice.h"

#include <string_view>
#include <thread>

#include <unistd.h>

namespace zrdl {

void explainSlowExit(std::chrono::milliseconds patience) {
  std::thread([patience] {
    std::this_thread::sleep_for(patience);
    constexpr std::string_view kText =
        "zrdl: deleting the files of removed tasks; an interrupt leaves that for later\n";
    [[maybe_unused]] const ssize_t written =
        ::write(STDERR_FILENO, kText.data(), kText.size());  // streams end meanwhile
  }).detach();
}

}  // namespace zrdl
