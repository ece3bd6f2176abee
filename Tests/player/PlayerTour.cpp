// A tour of the player's window as a user takes it: real downloads from the demo's origin, real clicks on the real
// widgets. scripts/player-tour gives it a display. PLAYER_SCREENSHOT names the folder for pictures of the window with a
// download in every state: light, dark and narrow.

#include <QAbstractItemModelTester>
#include <QDeadlineTimer>
#include <QSignalSpy>
#include <QTest>
#include <QtWidgets>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AddDialog.h"
#include "DemoClip.h"
#include "DemoContent.h"
#include "DemoSite.h"
#include "DownloadModel.h"
#include "Library.h"
#include "MainWindow.h"
#include "TemporaryFolder.h"

using player::Download;

namespace {

/// Handles events until `predicate` holds; false when that took too long.
bool waitUntil(const std::function<bool()>& predicate) {
  constexpr std::chrono::seconds kLimit{60};
  const QDeadlineTimer deadline(kLimit);
  QTimer end;  // an event, so that the wait for one is over in time
  end.start(kLimit);
  while (!predicate() && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  return predicate();
}

/// What is going on, for who watches the tour.
void step(const char* text) {
  std::printf("tour: %s\n", text);
  std::fflush(stdout);
}

enum Kind { kHlsKind, kMp4Kind, kShareKind };

// The rows, as they come.
enum Row { kMp4, kHls, kGone, kShare };

ZRHostInfo hostIn(const TemporaryFolder& folder, const site::DemoOrigin& origin) {
  ZRHostInfo host = ZRHostInfo::defaults();
  host.bundleIdentifier = "com.example.tour";
  host.applicationSupportFolder = folder / "support";
  host.moviesFolder = folder / "movies";
  host.videoInfoBaseURL = origin.infoBase();
  return host;
}

class PlayerTour : public testing::Test {
 protected:
  PlayerTour() {
    // Ends the program when a signal and the rows do not fit.
    new QAbstractItemModelTester(&model_, QAbstractItemModelTester::FailureReportingMode::Fatal, &model_);
    window_.show();
  }

  // Widgets.

  template <class Widget>
  static Widget& find(const QWidget& parent, const char* name) {
    auto* const widget = parent.findChild<Widget*>(name);
    if (widget == nullptr) throw std::runtime_error(std::string("no ") + name);
    return *widget;
  }

  QToolButton& button(const char* name) { return find<QToolButton>(window_, name); }
  static void click(QWidget* button) { QTest::mouseClick(button, Qt::LeftButton); }
  void click(const char* name) { click(&button(name)); }
  QListView& list() { return *window_.findChild<QListView*>(); }

  /// Which of the buttons can be pressed.
  std::string enabled() {
    std::string names;
    for (const char* const name : {"add", "play", "resume", "pause", "remove", "resumeAll", "pauseAll"}) {
      if (button(name).isEnabled()) names += names.empty() ? name : std::string(" ") + name;
    }
    return names;
  }

  /// What has the keyboard, one after another, until it is the first one's turn again.
  std::string keyboardOrder() {
    button("add").setFocus();
    std::string names;
    for (QWidget* here = &button("add"); here != nullptr && names.size() < 200; here = window_.focusWidget()) {
      if (here == &button("add") && !names.empty()) break;
      names += (names.empty() ? "" : " ") + here->objectName().toStdString();
      QTest::keyClick(here, Qt::Key_Tab);
    }
    return names;
  }

  void picture(const char* name) {
    const QString folder = qEnvironmentVariable("PLAYER_SCREENSHOT");
    if (folder.isEmpty()) return;
    const QString file = QDir(folder).filePath(name);
    EXPECT_TRUE(window_.grab().save(file)) << "cannot write " << file.toStdString();
  }

  /// The same in the dark, and in a window as narrow as a telephone.
  void takePictures() {
    picture("player.png");
    const QPalette light = QApplication::palette();
    QPalette dark(QColor(0x2b, 0x2d, 0x31), QColor(0x2b, 0x2d, 0x31));
    dark.setColor(QPalette::Highlight, light.color(QPalette::Highlight));
    QApplication::setPalette(dark);
    ASSERT_TRUE(waitUntil([&] { return list().palette().color(QPalette::Base).lightness() < 128; }));
    picture("player-dark.png");
    QApplication::setPalette(light);
    const QSize size = window_.size();
    EXPECT_EQ(button("add").toolButtonStyle(), Qt::ToolButtonTextBesideIcon);
    window_.resize(360, size.height());
    ASSERT_TRUE(waitUntil([&] { return button("add").toolButtonStyle() == Qt::ToolButtonIconOnly; }));
    EXPECT_EQ(window_.width(), 360);
    picture("player-narrow.png");
    window_.resize(size);
  }

  void choose(int row) {
    const QRect place = list().visualRect(model_.index(row));
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, place.center());
    ASSERT_EQ(list().currentIndex().row(), row);
  }

  template <class Dialog>
  static Dialog* opened() {
    waitUntil([] { return qobject_cast<Dialog*>(QApplication::activeModalWidget()) != nullptr; });
    return qobject_cast<Dialog*>(QApplication::activeModalWidget());
  }

  // What a user does.

  void openAddDialog(int kind) {
    click("add");
    dialog_ = opened<player::AddDialog>();
    ASSERT_NE(dialog_, nullptr);
    auto& kinds = find<QComboBox>(*dialog_, "kind");
    kinds.setFocus();
    QTest::keyClick(&kinds, Qt::Key_Home);
    for (int step = 0; step < kind; ++step) QTest::keyClick(&kinds, Qt::Key_Down);
    ASSERT_EQ(kinds.currentIndex(), kind);
  }

  /// Into the field of the form that is shown.
  void type(const char* key, const QString& text) {
    const auto fields = dialog_->findChildren<QLineEdit*>(key);
    QLineEdit* const edit = fields.at(std::ranges::find(fields, true, &QWidget::isVisible) - fields.begin());
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    edit->insert(text);
  }

  QPushButton* ok() { return dialog_->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok); }
  QPushButton* cancel() { return dialog_->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel); }

  /// Presses a button that closes the dialog that is open.
  static void closeBy(QWidget* button) {
    click(button);
    ASSERT_TRUE(waitUntil([] { return QApplication::activeModalWidget() == nullptr; }));
  }

  /// Presses the dialog's button, which makes a row, at the end.
  void download(int row) {
    ASSERT_NO_FATAL_FAILURE(closeBy(ok()));
    ASSERT_EQ(model_.rowCount(), row + 1);
    ASSERT_EQ(list().currentIndex().row(), row) << "the new one is not chosen";
  }

  void answerRemoval(bool yes) {
    click("remove");
    auto* const question = opened<QMessageBox>();
    ASSERT_NE(question, nullptr);
    const auto answers = question->buttons();
    const auto destroys = [&](auto* answer) { return question->buttonRole(answer) == QMessageBox::DestructiveRole; };
    closeBy(*std::ranges::find(answers, yes, destroys));
  }

  // What a user sees.

  /// Whether the row shows a picture and not the icon, which has few colours.
  bool showsCover(int row) {
    const QRect place = list().visualRect(model_.index(row));
    const QImage image = list().viewport()->grab(QRect(place.topLeft() + QPoint(30, 30), QSize(50, 30))).toImage();
    std::set<QRgb> colors;
    for (int x = 0; x < image.width(); ++x) {
      for (int y = 0; y < image.height(); ++y) colors.insert(image.pixel(x, y));
    }
    return colors.size() > 100;
  }

  bool showsEmptyPage() { return find<QWidget>(window_, "empty").isVisible(); }

  const Download& at(int row) { return model_.at(row); }
  bool waitFor(int row, ZRTaskState state) {
    return waitUntil([&] { return at(row).state == state; });
  }

  TemporaryFolder folder_;
  site::DemoOrigin origin_{6};
  player::Library library_{hostIn(folder_, origin_), site::demoAnswers(origin_)};
  player::DownloadModel model_{library_.manager()};
  std::vector<QUrl> played_;
  bool hasPlayer_ = true;
  player::MainWindow window_{library_.manager(),
                             model_,
                             {site::demoHls(), site::demoMp4(), site::demoShare(origin_)},
                             [this](const QUrl& file) {
                               played_.push_back(file);
                               return hasPlayer_;
                             }};
  player::AddDialog* dialog_ = nullptr;
};

}  // namespace

TEST_F(PlayerTour, addPauseResumeLimitPlayRemove) {
  step("an empty window");
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window_));
  EXPECT_TRUE(showsEmptyPage());
  EXPECT_EQ(enabled(), "add");
  EXPECT_EQ(find<QSpinBox>(window_, "limit").value(), 3);

  step("a form that is not complete");
  ASSERT_NO_FATAL_FAILURE(openAddDialog(kMp4Kind));
  EXPECT_TRUE(ok()->isEnabled()) << "the demo's own values";
  type("vid", "");
  EXPECT_FALSE(ok()->isEnabled());
  ASSERT_NO_FATAL_FAILURE(closeBy(cancel()));
  EXPECT_TRUE(showsEmptyPage());

  step("add the MP4, pause it on its way");
  ASSERT_NO_FATAL_FAILURE(openAddDialog(kMp4Kind));
  ASSERT_NO_FATAL_FAILURE(download(kMp4));
  EXPECT_FALSE(showsEmptyPage());
  EXPECT_EQ(enabled(), "add pause remove pauseAll");
  ASSERT_TRUE(waitUntil([&] { return at(kMp4).progress > 0.05 && at(kMp4).speed > 0; }));
  EXPECT_FALSE(paceText(at(kMp4)).isEmpty());
  click("pause");
  ASSERT_EQ(at(kMp4).state, ZRTaskState::Paused);
  EXPECT_LT(at(kMp4).progress, 1);
  EXPECT_EQ(enabled(), "add resume remove resumeAll");
  const QSignalSpy changes(&model_, &player::DownloadModel::dataChanged);
  model_.refresh();
  EXPECT_EQ(changes.count(), 0) << "nothing has changed";

  step("the same one is refused");
  ASSERT_NO_FATAL_FAILURE(openAddDialog(kMp4Kind));
  click(ok());
  EXPECT_TRUE(find<QLabel>(*dialog_, "refusal").isVisible());
  ASSERT_NO_FATAL_FAILURE(closeBy(cancel()));
  EXPECT_EQ(model_.rowCount(), 1);

  step("add the HLS video; one at once, then two");
  ASSERT_NO_FATAL_FAILURE(openAddDialog(kHlsKind));
  type("albumPic", QString::fromStdString(origin_.coverAddress()));
  ASSERT_NO_FATAL_FAILURE(download(kHls));
  auto& limit = find<QSpinBox>(window_, "limit");
  limit.setValue(1);
  ASSERT_NO_FATAL_FAILURE(choose(kMp4));
  click("resume");
  EXPECT_EQ(at(kHls).state, ZRTaskState::Executing);
  EXPECT_EQ(at(kMp4).state, ZRTaskState::Waiting);
  QTest::keyClick(&limit, Qt::Key_Up);
  limit.findChild<QLineEdit*>()->deselect();  // for the picture
  EXPECT_EQ(at(kMp4).state, ZRTaskState::Executing);
  click("pause");
  EXPECT_EQ(at(kMp4).state, ZRTaskState::Paused);

  step("a device that has left the network");
  ASSERT_NO_FATAL_FAILURE(openAddDialog(kShareKind));
  type("host", QString::fromStdString(origin_.deviceAddress() + "gone/"));
  type("vid", "gone");
  type("videoName", QStringLiteral("去年夏天在海边拍的家庭录像，一共三个小时，还没有剪辑过的完整版本，请不要删除，谢谢"
                                   "（原始文件，第二份，未剪辑）.mp4"));
  ASSERT_NO_FATAL_FAILURE(download(kGone));
  ASSERT_TRUE(waitFor(kGone, ZRTaskState::Errored));
  EXPECT_EQ(detailText(at(kGone)), QStringLiteral("The device is offline"));
  EXPECT_EQ(model_.index(kGone).data(Qt::AccessibleTextRole),
            at(kGone).title + QStringLiteral(", Failed, The device is offline"));
  EXPECT_EQ(model_.index(kGone).data(Qt::ToolTipRole), QStringLiteral("<p>The device is offline</p>"));
  EXPECT_EQ(enabled(), "add resume remove resumeAll pauseAll");

  step("the HLS video to its end, with its cover from the web");
  ASSERT_TRUE(waitFor(kHls, ZRTaskState::Finished));
  EXPECT_TRUE(site::DemoClip::isIn(at(kHls).playablePath.toStdString()));
  ASSERT_TRUE(waitUntil([&] { return showsCover(kHls); }));
  EXPECT_FALSE(showsCover(kMp4));
  const player::DownloadModel atTheStart(library_.manager());
  ASSERT_EQ(atTheStart.rowCount(), 3);
  for (int row = 0; const int here : {kMp4, kGone, kHls}) EXPECT_EQ(atTheStart.at(row++).id, at(here).id);

  step("the shared video, with its cover from the device");
  ASSERT_NO_FATAL_FAILURE(openAddDialog(kShareKind));
  ASSERT_NO_FATAL_FAILURE(download(kShare));
  ASSERT_TRUE(
      waitUntil([&] { return !paceText(at(kShare)).isEmpty() && at(kShare).progress > 0.3 && showsCover(kShare); }));
  EXPECT_EQ(at(kShare).state, ZRTaskState::Executing);
  EXPECT_EQ(keyboardOrder(), "add pause remove resumeAll pauseAll limit list");
  takePictures();

  step("both to their end, after a pause");
  ASSERT_NO_FATAL_FAILURE(choose(kMp4));
  click("pauseAll");
  EXPECT_TRUE(at(kShare).state == ZRTaskState::Paused && at(kGone).state == ZRTaskState::Paused);
  EXPECT_EQ(enabled(), "add resume remove resumeAll");
  click("resumeAll");
  EXPECT_TRUE(at(kMp4).canPause() && at(kShare).canPause());
  ASSERT_TRUE(waitFor(kMp4, ZRTaskState::Finished) && waitFor(kShare, ZRTaskState::Finished));
  EXPECT_TRUE(site::kDemoVideo.isIn(at(kMp4).playablePath.toStdString()));
  EXPECT_TRUE(site::kDemoShare.isIn(at(kShare).playablePath.toStdString()));
  EXPECT_EQ(at(kMp4).size, site::kDemoVideo.size());

  step("play, by the button and by the key");
  EXPECT_EQ(enabled(), "add play remove resumeAll");
  click("play");
  ASSERT_NO_FATAL_FAILURE(choose(kHls));
  hasPlayer_ = false;
  QTest::keyClick(&list(), Qt::Key_Return);
  EXPECT_EQ(played_,
            (std::vector{QUrl::fromLocalFile(at(kMp4).playablePath), QUrl::fromLocalFile(at(kHls).playablePath)}));
  EXPECT_TRUE(window_.statusBar()->currentMessage().contains(at(kHls).title));

  step("remove one, after second thoughts");
  ASSERT_NO_FATAL_FAILURE(choose(kGone));
  ASSERT_NO_FATAL_FAILURE(answerRemoval(false));
  EXPECT_EQ(model_.rowCount(), 4);
  const QString gone = at(kGone).id;
  ASSERT_NO_FATAL_FAILURE(answerRemoval(true));
  EXPECT_EQ(model_.rowCount(), 3);
  EXPECT_EQ(model_.rowOf(gone), -1);

  step("remove all the others");
  const std::string film = at(kMp4).playablePath.toStdString();
  ASSERT_TRUE(std::filesystem::exists(film));
  QTest::keyClick(&list(), Qt::Key_A, Qt::ControlModifier);
  ASSERT_NO_FATAL_FAILURE(answerRemoval(true));
  EXPECT_EQ(model_.rowCount(), 0);
  EXPECT_TRUE(showsEmptyPage());
  EXPECT_EQ(enabled(), "add");
  EXPECT_FALSE(std::filesystem::exists(film));
}

/// The player itself, into a folder that goes with it: its downloads begin by themselves.
TEST(PlayerDemo, leavesNothingHoweverItEnds) {
  for (const int signal : {SIGTERM, SIGKILL}) {
    const TemporaryFolder temporary;
    QFileSystemWatcher watcher;
    const auto hasBegun = [&] {
      std::set<std::string> names;
      std::error_code gone;  // what is renamed meanwhile
      watcher.addPath(temporary.path().c_str());
      for (std::filesystem::recursive_directory_iterator at(temporary.path(), gone), end; !gone && at != end;
           at.increment(gone)) {
        names.insert(at->path().filename());
        if (at->is_directory(gone)) watcher.addPath(at->path().c_str());
      }
      return names.contains("1-2") && names.contains("73-1-1") && names.contains("Oxwell");
    };
    QProcess player;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TMPDIR", temporary.path().c_str());
    player.setProcessEnvironment(environment);
    player.start(ZR_PLAYER, {"--demo"});
    EXPECT_TRUE(waitUntil(hasBegun)) << player.readAllStandardError().toStdString();
    ::kill(static_cast<pid_t>(player.processId()), signal);
    EXPECT_TRUE(waitUntil([&] { return player.state() == QProcess::NotRunning; }));
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::is_empty(temporary.path()); })) << signal;
  }
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
