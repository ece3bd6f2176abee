#include <QCoreApplication>
#include <QLocale>

#include <gtest/gtest.h>

#include "Chinese.h"
#include "Download.h"
#include "FailureText.h"

using player::Download;

namespace {

/// A quarter of a film of 4 MiB, at so many bytes a second.
Download quarter(ZRTaskState state, double speed = 0) {
  Download download;
  download.title = "Film";
  download.state = state;
  download.speed = speed;
  download.progress = 0.25;
  download.bytes = 1024 * 1024;
  download.size = 4 * 1024 * 1024;
  return download;
}

}  // namespace

TEST(Download, textsOfARow) {
  QLocale::setDefault(QLocale::c());
  const Download running = quarter(ZRTaskState::Executing, 512 * 1024);
  Download starting;
  starting.state = ZRTaskState::Executing;
  Download overfull = running;  // the size was announced too small
  overfull.progress = 1.2;
  overfull.bytes = 5 * 1024 * 1024;
  Download unknown;
  unknown.state = ZRTaskState::Executing;
  unknown.bytes = 3 * 1024 * 1024;
  Download failed = quarter(ZRTaskState::Errored);
  failed.message = QStringLiteral("主机已下线");

  Download stuck = quarter(ZRTaskState::Executing);
  stuck.message = QStringLiteral("HTTP status 403");

  struct Case {
    const char* what;
    Download download;
    const char* state;
    const char* detail;
    const char* pace;
  };
  const char* const amount = "25 % · 1.0 MiB of 4.0 MiB";
  const Case cases[] = {
      {"running", running, "Downloading", amount, "512.0 KiB/s · 0:06 left"},
      {"starting", starting, "Downloading", "", ""},
      {"of unknown size", unknown, "Downloading", "3.0 MiB", ""},
      {"hardly moving", quarter(ZRTaskState::Executing, 1), "Downloading", amount, "1 bytes/s"},
      {"over an hour", quarter(ZRTaskState::Executing, 512), "Downloading", amount, "512 bytes/s · 1:42:24 left"},
      {"larger than announced", overfull, "Downloading", "100 % · 4.0 MiB of 4.0 MiB", "512.0 KiB/s"},
      {"paused", quarter(ZRTaskState::Paused), "Paused", amount, ""},
      {"waiting", quarter(ZRTaskState::Waiting), "Waiting", amount, ""},
      {"failed", failed, "Failed", "主机已下线", ""},
      {"stuck", stuck, "Nothing arrives", "HTTP status 403", ""},
      {"finished", quarter(ZRTaskState::Finished), "Finished", "4.0 MiB", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(stateText(c.download).toStdString(), c.state);
    EXPECT_EQ(detailText(c.download).toStdString(), c.detail);
    EXPECT_EQ(paceText(c.download).toStdString(), c.pace);
  }
  EXPECT_TRUE(unknown.isBusy() && !stuck.isBusy() && !running.isBusy());
  EXPECT_EQ(spokenText(running).toStdString(), "Film, Downloading, 25 % · 1.0 MiB of 4.0 MiB, 512.0 KiB/s · 0:06 left");
}

TEST(Failure, isToldByItsReasonInTheWindowsLanguage) {
  int argc = 0;
  const QCoreApplication app(argc, nullptr);
  player::Chinese chinese;
  QCoreApplication::installTranslator(&chinese);
  const ZRError refused = ZRError("d", 1, "its own").with(kZRErrorReasonKey, kZRReasonHttpStatus);
  EXPECT_EQ(player::failureText(refused.with(kZRErrorHttpStatusKey, 403)), QStringLiteral("服务器拒绝了请求（403）"));
  EXPECT_EQ(player::failureText(ZRError("d", 1, "its own")), "its own");
}
