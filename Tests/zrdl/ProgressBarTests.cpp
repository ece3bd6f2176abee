#include <gtest/gtest.h>

#include "DisplayText.h"
#include "ProgressBar.h"

namespace zrdl {
namespace {

constexpr std::uint64_t kMiB = 1024ULL * 1024;

TaskView running(double progress, double speed, std::uint64_t size) {
  return {.id = "73-1",
          .title = "演示",
          .state = ZRTaskState::Executing,
          .progress = static_cast<float>(progress),
          .speed = speed,
          .bytes = static_cast<std::uint64_t>(progress * static_cast<double>(size)),
          .size = size,
          .relative = {},
          .path = {}};
}

}  // namespace

TEST(ProgressBar, sizesComeInTheLargestFittingUnit) {
  EXPECT_EQ(sizeText(1023), "1023 B");
  EXPECT_EQ(sizeText(1024), "1.0 KiB");
  EXPECT_EQ(sizeText(20 * kMiB), "20.0 MiB");
  EXPECT_EQ(sizeText(3000 * kMiB), "2.93 GiB");
  EXPECT_EQ(speedText(512), "512 KiB/s");
  EXPECT_EQ(speedText(1536), "1.5 MiB/s");
}

TEST(ProgressBar, timeLeftIsOpenWithoutSizeOrSpeed) {
  EXPECT_EQ(timeLeftText(running(0.5F, 1024, 20 * kMiB)), "0:10");
  EXPECT_EQ(timeLeftText(running(0, 1024, 3723 * kMiB)), "1:02:03");
  EXPECT_EQ(timeLeftText(running(1.5F, 1024, kMiB)), "0:00");  // more came than was announced
  EXPECT_EQ(timeLeftText(running(0.5F, 0, kMiB)), "--:--");
  EXPECT_EQ(timeLeftText(running(0, 1, 1024 * kMiB)), "--:--");  // twelve days
  EXPECT_EQ(timeLeftText(running(0, 100, 0)), "--:--");
  EXPECT_EQ(percentText(running(0, 100, 0)), "-- %");
}

TEST(ProgressBar, aLineIsNeverWiderThanTheTerminal) {
  TaskView task = running(0.5F, 2048, 20 * kMiB);
  EXPECT_EQ(progressBar(task, 80), "演示              [#######........]  50 %    2.0 MiB/s    10.0/20.0 MiB     0:05");
  EXPECT_EQ(progressBar(task, 30), "演示         50 %    2.0 MiB/s");
  task = running(0.999F, 1023, 20 * kMiB);
  task.title = "很长的标题很长的标题很长的标题很长的标题很长的标题 and some more words";
  for (std::size_t columns = 0; columns < 200; ++columns) {
    EXPECT_LE(displayWidth(progressBar(task, columns)), columns);
  }
}

}  // namespace zrdl
