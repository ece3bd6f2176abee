#include <array>
#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ExitNotice.h"
#include "TemporaryFolder.h"
#include "ZRBackgroundQueue.h"

namespace zrdl {
namespace {

/// Ends the process while the library still has something to do, which goes on until somebody complains.
[[noreturn]] void endSlowly(const RemovalFolders& folders) {
  const int terminal = ::dup(STDERR_FILENO);
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) std::abort();
  ::dup2(ends[1], STDERR_FILENO);
  ZRBackgroundQueue::shared().post([terminal, heard = ends[0]] {
    std::array<char, 256> text{};
    const ssize_t length = ::read(heard, text.data(), text.size());
    if (length > 0 && ::write(terminal, text.data(), static_cast<std::size_t>(length)) < 0) std::abort();
  });
  explainSlowExit(folders, std::chrono::milliseconds(1));
  std::exit(7);
}

}  // namespace

class ExitNotice : public testing::Test {
 protected:
  const TemporaryFolder home_;
  const RemovalFolders folders_{.downloads = home_ / "downloads", .shares = home_ / "shares"};
};

TEST_F(ExitNotice, tellsWhatAnEndThatTakesTimeWaitsFor) {
  writeFile(home_ / "downloads/.removing-1/1.ts", "");
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(endSlowly(folders_), testing::ExitedWithCode(7), "^zrdl: deleting the files of removed tasks; .*\n$");
}

TEST_F(ExitNotice, onlyFoldersThatAreSetAsideAreWaitedFor) {
  EXPECT_FALSE(folders_.areInUse());
  writeFile(home_ / "downloads/73-1-1/1-1.mp4", "");
  writeFile(home_ / "shares/album/video/1.mp4", "");
  EXPECT_FALSE(folders_.areInUse());
  writeFile(home_ / "shares/album/.removing-2/1.mp4", "");
  EXPECT_TRUE(folders_.areInUse());
}

}  // namespace zrdl
