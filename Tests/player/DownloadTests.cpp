#include <QLocale>

#include <gtest/gtest.h>

#include "Download.h"

using player::Download;

namespace {

Download downloadIn(ZRTaskState state) {
  Download download;
  download.title = "Film";
  download.state = state;
  download.progress = 0.25;
  download.bytes = 1024 * 1024;
  download.size = 4 * 1024 * 1024;
  return download;
}

}  // namespace

TEST(Download, textsOfARow) {
  QLocale::setDefault(QLocale::c());
  Download running = downloadIn(ZRTaskState::Executing);
  running.speed = 512 * 1024;
  Download starting = running;
  starting.progress = starting.speed = 0;
  starting.bytes = starting.size = 0;
  Download endless = running;
  endless.speed = 1;
  Download overfull = running;  // the size was announced too small
  overfull.progress = 1.2;
  overfull.bytes = 5 * 1024 * 1024;
  Download long_ = running;
  long_.speed = 512;
  Download failed = downloadIn(ZRTaskState::Errored);
  failed.message = QStringLiteral("主机已下线");

  struct Case {
    const char* what;
    Download download;
    const char* state;
    const char* detail;
    const char* pace;
  };
  for (const Case& c : {
           Case{"running", running, "Downloading", "25 % · 1.0 MiB of 4.0 MiB", "512.0 KiB/s · 0:06 left"},
           Case{"starting", starting, "Downloading", "", ""},
           Case{"hardly moving", endless, "Downloading", "25 % · 1.0 MiB of 4.0 MiB", "1 bytes/s"},
           Case{"over an hour", long_, "Downloading", "25 % · 1.0 MiB of 4.0 MiB", "512 bytes/s · 1:42:24 left"},
           Case{"larger than announced", overfull, "Downloading", "100 % · 4.0 MiB of 4.0 MiB", "512.0 KiB/s"},
           Case{"paused", downloadIn(ZRTaskState::Paused), "Paused", "25 % · 1.0 MiB of 4.0 MiB", ""},
           Case{"waiting", downloadIn(ZRTaskState::Waiting), "Waiting", "25 % · 1.0 MiB of 4.0 MiB", ""},
           Case{"failed", failed, "Failed", "主机已下线", ""},
           Case{"finished", downloadIn(ZRTaskState::Finished), "Finished", "4.0 MiB", ""},
       }) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(stateText(c.download).toStdString(), c.state);
    EXPECT_EQ(detailText(c.download).toStdString(), c.detail);
    EXPECT_EQ(paceText(c.download).toStdString(), c.pace);
  }
  EXPECT_EQ(spokenText(running).toStdString(), "Film, Downloading, 25 % · 1.0 MiB of 4.0 MiB, 512.0 KiB/s · 0:06 left");
}
