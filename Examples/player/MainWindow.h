#pragma once

#include <QMainWindow>
#include <functional>
#include <vector>

#include "DownloadModel.h"
#include "TaskRequest.h"

class QAction;
class QLabel;
class QListView;
class QSpinBox;
class QStackedWidget;
class QUrl;

namespace player {

/// The list of downloads and what can be done with them. The selection is what the actions are for; those that make no
/// sense for it are disabled.
class MainWindow final : public QMainWindow {
  Q_OBJECT

 public:
  /// Opens a finished file with the system's player; false when there is none.
  using Opener = std::function<bool(const QUrl& file)>;

  /// The manager and the model must outlive the window. `suggestions` fill the form for new downloads.
  MainWindow(ZRDownloadManager& manager, DownloadModel& model, std::vector<site::TaskRequest> suggestions,
             Opener opener);

 private:
  void makeActions();
  QAction* makeAction(const char* name, const QIcon& icon, const QString& text, const QKeySequence& shortcut,
                      void (MainWindow::*work)());
  QWidget* makeBar();
  QWidget* makeEmptyPage();
  QListView* makeList();

  void add();
  QString tryToAdd(const site::TaskRequest& request);
  void play();
  void resume();
  void pause();
  void resumeAll();
  void pauseAll();
  void remove();
  void activate();
  void setLimit(int count);

  std::vector<int> selectedRows() const;
  ZRTaskList selectedTasks(bool (Download::*wanted)() const) const;
  void removeTasks(const ZRTaskList& tasks);
  void showChanges();
  QString summary() const;

  ZRDownloadManager& manager_;
  DownloadModel& model_;
  const std::vector<site::TaskRequest> suggestions_;
  const Opener opener_;
  QAction* add_ = nullptr;
  QAction* play_ = nullptr;
  QAction* resume_ = nullptr;
  QAction* pause_ = nullptr;
  QAction* remove_ = nullptr;
  QAction* resumeAll_ = nullptr;
  QAction* pauseAll_ = nullptr;
  QStackedWidget* pages_ = nullptr;
  QListView* list_ = nullptr;
  QLabel* summary_ = nullptr;
};

}  // namespace player
