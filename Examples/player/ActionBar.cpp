#include "ActionBar.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QResizeEvent>
#include <QToolButton>

namespace player {
namespace {

QToolButton* makeButton(QAction* action) {
  auto* const button = new QToolButton;
  button->setObjectName(action->objectName());
  button->setDefaultAction(action);
  button->setAutoRaise(true);
  button->setFocusPolicy(Qt::StrongFocus);
  return button;
}

}  // namespace

ActionBar::ActionBar(const std::vector<QAction*>& actions, QLabel* label, QWidget* field)
    : layout_(new QHBoxLayout(this)), label_(label) {
  layout_->setContentsMargins(8, 6, 12, 6);
  layout_->setSpacing(2);
  for (QAction* const action : actions) {
    buttons_.push_back(makeButton(action));
    layout_->addWidget(buttons_.back());
  }
  layout_->addStretch();
  layout_->addWidget(label);
  layout_->addSpacing(4);
  layout_->addWidget(field);
  narrow_ = sizeWith(false);
  wide_ = sizeWith(true);
}

QSize ActionBar::sizeHint() const {
  return wide_;
}

QSize ActionBar::minimumSizeHint() const {
  return narrow_;
}

void ActionBar::resizeEvent(QResizeEvent* event) {
  setTexts(event->size().width() >= wide_.width());
}

void ActionBar::setTexts(bool shown) {
  label_->setVisible(shown);
  const Qt::ToolButtonStyle style = shown ? Qt::ToolButtonTextBesideIcon : Qt::ToolButtonIconOnly;
  for (QToolButton* const button : buttons_) button->setToolButtonStyle(style);
}

QSize ActionBar::sizeWith(bool texts) {
  setTexts(texts);
  layout_->invalidate();
  return layout_->sizeHint();
}

}  // namespace player
