#pragma once

#include <QFrame>
#include <vector>

class QAction;
class QHBoxLayout;
class QLabel;
class QToolButton;

namespace player {

/// A button for each action, and a field at the end. The buttons have texts where there is room for them, else icons
/// alone.
class ActionBar final : public QFrame {
  Q_OBJECT

 public:
  /// `label` names `field` where there is room.
  ActionBar(const std::vector<QAction*>& actions, QLabel* label, QWidget* field);

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  void setTexts(bool shown);
  QSize sizeWith(bool texts);

  QHBoxLayout* layout_;
  QLabel* label_;
  std::vector<QToolButton*> buttons_;
  QSize wide_;
  QSize narrow_;
};

}  // namespace player
