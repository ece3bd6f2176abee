#include "MainWindow.h"

#include <QAction>
#include <QLabel>
#include <QListView>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QStatusBar>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "ActionBar.h"
#include "AddDialog.h"
#include "DownloadDelegate.h"
#include "Icons.h"

namespace player {
namespace {

constexpr int kHighestLimit = 16;
constexpr int kNoticeTime = 8000;  // milliseconds
constexpr QSize kDefaultSize(860, 440);

}  // namespace

MainWindow::MainWindow(ZRDownloadManager& manager, DownloadModel& model, std::vector<site::TaskRequest> suggestions,
                       Opener opener)
    : manager_(manager), model_(model), suggestions_(std::move(suggestions)), opener_(std::move(opener)) {
  setWindowTitle(tr("Downloads"));
  resize(kDefaultSize);
  makeActions();
  QWidget* const bar = makeBar();
  pages_ = new QStackedWidget;
  pages_->addWidget(makeEmptyPage());
  list_ = makeList();
  pages_->addWidget(list_);
  summary_ = new QLabel;
  summary_->setObjectName("summary");
  summary_->setContentsMargins(10, 0, 10, 0);
  summary_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  statusBar()->addWidget(summary_, 1);
  statusBar()->setSizeGripEnabled(false);

  auto* const content = new QWidget;
  auto* const layout = new QVBoxLayout(content);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  layout->addWidget(bar);
  layout->addWidget(pages_);
  setCentralWidget(content);

  for (const auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved}) {
    connect(&model_, signal, this, &MainWindow::showChanges);
  }
  connect(&model_, &QAbstractItemModel::dataChanged, this, &MainWindow::showChanges);
  showChanges();
}

void MainWindow::makeActions() {
  add_ = makeAction("add", glyphIcon(Glyph::Add), tr("&Add…"), QKeySequence::New, &MainWindow::add);
  play_ = makeAction("play", glyphIcon(Glyph::Play), tr("&Play"), QKeySequence::Open, &MainWindow::play);
  resume_ = makeAction("resume", glyphIcon(Glyph::Resume), tr("&Resume"), tr("Ctrl+R"), &MainWindow::resume);
  pause_ = makeAction("pause", glyphIcon(Glyph::Pause), tr("Pau&se"), tr("Ctrl+S"), &MainWindow::pause);
  remove_ = makeAction("remove", glyphIcon(Glyph::Remove), tr("Re&move"), QKeySequence::Delete, &MainWindow::remove);
  resumeAll_ = makeAction("resumeAll", glyphIcon(Glyph::ResumeAll), tr("Resume a&ll"), tr("Ctrl+Shift+R"),
                          &MainWindow::resumeAll);
  pauseAll_ =
      makeAction("pauseAll", glyphIcon(Glyph::PauseAll), tr("Pa&use all"), tr("Ctrl+Shift+S"), &MainWindow::pauseAll);
}

QAction* MainWindow::makeAction(const char* name, const QIcon& icon, const QString& text, const QKeySequence& shortcut,
                                void (MainWindow::*work)()) {
  auto* const action = new QAction(icon, text, this);
  action->setObjectName(name);
  action->setShortcut(shortcut);
  action->setToolTip(QStringLiteral("%1 (%2)").arg(QString(text).remove('&').remove(QStringLiteral("…")),
                                                   shortcut.toString(QKeySequence::NativeText)));
  connect(action, &QAction::triggered, this, work);
  addAction(action);
  return action;
}

QWidget* MainWindow::makeBar() {
  auto* const limit = new QSpinBox;
  limit->setObjectName("limit");
  limit->setRange(1, kHighestLimit);
  limit->setValue(manager_.maxConcurrentOperationCount());
  limit->setToolTip(tr("How many downloads run at once"));
  limit->setAccessibleName(limit->toolTip());
  auto* const label = new QLabel(tr("At &once:"));
  label->setBuddy(limit);
  connect(limit, &QSpinBox::valueChanged, this, &MainWindow::setLimit);
  return new ActionBar({add_, play_, resume_, pause_, remove_, resumeAll_, pauseAll_}, label, limit);
}

QWidget* MainWindow::makeEmptyPage() {
  auto* const page = new QWidget;
  page->setObjectName("empty");
  page->setAutoFillBackground(true);
  page->setBackgroundRole(QPalette::Base);
  auto* const picture = new QLabel;
  picture->setPixmap(glyphIcon(Glyph::Film).pixmap(QSize(72, 72), QIcon::Disabled));
  auto* const text = new QLabel(tr("<b>Nothing to watch offline yet</b>"));
  auto* const button = new QPushButton(add_->icon(), tr("Add a &download…"));
  connect(button, &QPushButton::clicked, add_, &QAction::trigger);
  auto* const layout = new QVBoxLayout(page);
  layout->setSpacing(14);
  layout->addStretch();
  for (QWidget* const part :
       {static_cast<QWidget*>(picture), static_cast<QWidget*>(text), static_cast<QWidget*>(button)})
    layout->addWidget(part, 0, Qt::AlignHCenter);
  layout->addStretch();
  return page;
}

QListView* MainWindow::makeList() {
  auto* const list = new QListView;
  list->setObjectName("list");
  list->setAccessibleName(tr("Downloads"));
  list->setFrameShape(QFrame::NoFrame);
  list->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  list->setUniformItemSizes(true);
  list->setModel(&model_);
  list->setItemDelegate(new DownloadDelegate(list));
  list->setContextMenuPolicy(Qt::ActionsContextMenu);
  list->addActions({play_, resume_, pause_, remove_});
  connect(list, &QListView::activated, this, &MainWindow::activate);
  connect(list->selectionModel(), &QItemSelectionModel::selectionChanged, this, &MainWindow::showChanges);
  return list;
}

void MainWindow::add() {
  auto* const dialog = new AddDialog(
      suggestions_, [this](const site::TaskRequest& request) { return tryToAdd(request); }, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->open();
}

QString MainWindow::tryToAdd(const site::TaskRequest& request) {
  const std::shared_ptr<ZRDownloadTask> task = request.make();
  if (!task) return tr("These values name no video.");
  switch (manager_.addTask(task)) {
    case ZRAddTaskResult::Refused:
      return tr("The download could not be stored. Is the disk full?");
    case ZRAddTaskResult::Exists:
      return tr("This video is in the list already.");
    case ZRAddTaskResult::Added:
      break;
  }
  model_.refresh();
  list_->setCurrentIndex(model_.index(model_.rowOf(QString::fromStdString(task->taskId()))));
  list_->setFocus();
  return {};
}

void MainWindow::play() {
  for (const int row : selectedRows()) {
    const Download& download = model_.at(row);
    if (!download.isFinished() || opener_(QUrl::fromLocalFile(download.playablePath))) continue;
    statusBar()->showMessage(tr("No program plays “%1”").arg(download.title), kNoticeTime);
  }
}

void MainWindow::resume() {
  for (const auto& task : selectedTasks(&Download::canResume)) manager_.resumeTask(task);
  model_.refresh();
}

void MainWindow::pause() {
  for (const auto& task : selectedTasks(&Download::canPause)) manager_.pauseTask(task);
  model_.refresh();
}

void MainWindow::resumeAll() {
  manager_.starTasks(manager_.allUnFinishTaskArr());
  model_.refresh();
}

void MainWindow::pauseAll() {
  manager_.pauseAllTasks();
  model_.refresh();
}

void MainWindow::remove() {
  const std::vector<int> rows = selectedRows();
  const ZRTaskList tasks = selectedTasks(nullptr);
  auto* const question = new QMessageBox(QMessageBox::NoIcon, tr("Remove"), {}, QMessageBox::Cancel, this);
  question->setTextFormat(Qt::PlainText);
  question->setIconPixmap(remove_->icon().pixmap(QSize(32, 32)));
  question->setText(rows.size() == 1 ? tr("Remove “%1” and its files?").arg(model_.at(rows.front()).title)
                                     : tr("Remove %1 downloads and their files?").arg(rows.size()));
  question->button(QMessageBox::Cancel)->setIcon({});
  QPushButton* const yes = question->addButton(tr("&Remove"), QMessageBox::DestructiveRole);
  question->setDefaultButton(QMessageBox::Cancel);
  question->setAttribute(Qt::WA_DeleteOnClose);
  connect(yes, &QPushButton::clicked, this, [this, tasks] { removeTasks(tasks); });
  question->open();
}

void MainWindow::removeTasks(const ZRTaskList& tasks) {
  for (const auto& task : tasks) manager_.removeTask(task);
  model_.refresh();
}

/// What somebody means who double-clicks a row.
void MainWindow::activate() {
  for (QAction* const action : {play_, pause_, resume_}) {
    if (action->isEnabled()) return action->trigger();
  }
}

void MainWindow::setLimit(int count) {
  manager_.setMaxConcurrentOperationCount(static_cast<std::uint8_t>(count));
  model_.refresh();
}

std::vector<int> MainWindow::selectedRows() const {
  std::vector<int> rows;
  for (const QModelIndex& index : list_->selectionModel()->selectedRows()) rows.push_back(index.row());
  std::ranges::sort(rows);
  return rows;
}

/// Those of the selection for which `wanted` holds; all without it.
ZRTaskList MainWindow::selectedTasks(bool (Download::*wanted)() const) const {
  ZRTaskList tasks;
  for (const int row : selectedRows()) {
    if (wanted == nullptr || (model_.at(row).*wanted)()) tasks.push_back(model_.task(row));
  }
  return tasks;
}

void MainWindow::showChanges() {
  pages_->setCurrentIndex(model_.rowCount() == 0 ? 0 : 1);
  const auto any = [this](bool (Download::*wanted)() const) { return !selectedTasks(wanted).empty(); };
  play_->setEnabled(any(&Download::isFinished));
  resume_->setEnabled(any(&Download::canResume));
  pause_->setEnabled(any(&Download::canPause));
  remove_->setEnabled(any(nullptr));
  resumeAll_->setEnabled(model_.any(&Download::canResume));
  pauseAll_->setEnabled(model_.any(&Download::canPause));
  summary_->setText(summary());
}

QString MainWindow::summary() const {
  int running = 0;
  int finished = 0;
  double speed = 0;
  for (int row = 0; row < model_.rowCount(); ++row) {
    const Download& download = model_.at(row);
    running += download.isRunning() ? 1 : 0;
    finished += download.isFinished() ? 1 : 0;
    speed += download.speed;
  }
  QStringList parts{tr("%1 of %2 finished").arg(finished).arg(model_.rowCount())};
  if (running > 0) parts << tr("%1 running").arg(running);
  if (speed > 0) parts << tr("%1/s").arg(QLocale().formattedDataSize(static_cast<qint64>(speed), 1));
  return model_.rowCount() == 0 ? QString() : parts.join(QStringLiteral(" · "));
}

}  // namespace player
