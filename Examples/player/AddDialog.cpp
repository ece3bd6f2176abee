#include "AddDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace player {
namespace {

enum class FieldType { Number, Text, Flag };

/// A parameter of a download.
struct Field {
  const char* key;
  const char* label;
  FieldType type;
  bool required;
};

struct Kind {
  const char* name;
  const char* label;
  std::span<const Field> fields;
};

constexpr std::array kHlsFields{
    Field{"vid", QT_TRANSLATE_NOOP("AddDialog", "&Video id"), FieldType::Number, true},
    Field{"site", QT_TRANSLATE_NOOP("AddDialog", "&Site"), FieldType::Number, true},
    Field{"version", QT_TRANSLATE_NOOP("AddDialog", "Ve&rsion"), FieldType::Number, true},
    Field{"aid", QT_TRANSLATE_NOOP("AddDialog", "A&lbum id"), FieldType::Number, false},
    Field{"albumPic", QT_TRANSLATE_NOOP("AddDialog", "&Cover address"), FieldType::Text, false},
};
constexpr std::array kMp4Fields{
    Field{"vid", QT_TRANSLATE_NOOP("AddDialog", "&Video id"), FieldType::Number, true},
    Field{"version", QT_TRANSLATE_NOOP("AddDialog", "Ve&rsion"), FieldType::Number, true},
    Field{"cover", QT_TRANSLATE_NOOP("AddDialog", "&Cover address"), FieldType::Text, false},
};
constexpr std::array kShareFields{
    Field{"host", QT_TRANSLATE_NOOP("AddDialog", "&Device address"), FieldType::Text, true},
    Field{"vid", QT_TRANSLATE_NOOP("AddDialog", "&Video id"), FieldType::Text, true},
    Field{"videoName", QT_TRANSLATE_NOOP("AddDialog", "&File name"), FieldType::Text, true},
    Field{"albumId", QT_TRANSLATE_NOOP("AddDialog", "A&lbum id"), FieldType::Text, true},
    Field{"albumName", QT_TRANSLATE_NOOP("AddDialog", "Album &name"), FieldType::Text, false},
    Field{"deviceName", QT_TRANSLATE_NOOP("AddDialog", "D&evice name"), FieldType::Text, false},
    Field{"lanOnly", QT_TRANSLATE_NOOP("AddDialog", "Local network &only"), FieldType::Flag, false},
};
constexpr std::array kKinds{
    Kind{"hls", QT_TRANSLATE_NOOP("AddDialog", "HLS video"), kHlsFields},
    Kind{"mp4", QT_TRANSLATE_NOOP("AddDialog", "MP4 of the second site"), kMp4Fields},
    Kind{"share", QT_TRANSLATE_NOOP("AddDialog", "Shared on the local network"), kShareFields},
};

ZRDictionary suggestionFor(const char* kind, const std::vector<site::TaskRequest>& suggestions) {
  for (const site::TaskRequest& suggestion : suggestions) {
    if (suggestion.kind == kind) return suggestion.params;
  }
  return {};
}

QWidget* makeEditor(const Field& field, const ZRDictionary& suggestion) {
  if (field.type == FieldType::Flag) {
    auto* const box = new QCheckBox(AddDialog::tr(field.label));
    box->setChecked(suggestion[field.key].boolValue());
    return box;
  }
  auto* const edit = new QLineEdit(QString::fromStdString(suggestion[field.key].textValue().value_or("")));
  if (field.type == FieldType::Number) {
    static const QRegularExpression digits(QStringLiteral("[0-9]{1,18}"));
    edit->setValidator(new QRegularExpressionValidator(digits, edit));
  }
  if (!field.required) edit->setPlaceholderText(AddDialog::tr("optional"));
  return edit;
}

/// Absent for a text that was left empty.
ZRValue valueOf(const Field& field, const QWidget& form) {
  if (const auto* const box = form.findChild<const QCheckBox*>(field.key)) return box->isChecked();
  const QString text = form.findChild<const QLineEdit*>(field.key)->text().trimmed();
  if (text.isEmpty()) return {};
  return field.type == FieldType::Number ? ZRValue(std::int64_t{text.toLongLong()}) : ZRValue(text.toStdString());
}

}  // namespace

AddDialog::AddDialog(const std::vector<site::TaskRequest>& suggestions, Add add, QWidget* parent)
    : QDialog(parent), add_(std::move(add)) {
  setWindowTitle(tr("Add a download"));
  setMinimumWidth(440);
  kinds_ = new QComboBox;
  kinds_->setObjectName("kind");
  refusal_ = new QLabel;
  refusal_->setObjectName("refusal");
  refusal_->setWordWrap(true);
  buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  buttons_->button(QDialogButtonBox::Ok)->setText(tr("&Download"));
  for (QAbstractButton* const button : buttons_->buttons()) button->setIcon({});

  auto* const layout = new QVBoxLayout(this);
  auto* const head = new QFormLayout;
  auto* const label = new QLabel(tr("&Kind"));
  label->setBuddy(kinds_);
  head->addRow(label, kinds_);
  layout->addLayout(head);
  for (std::size_t kind = 0; kind < kKinds.size(); ++kind) {
    kinds_->addItem(tr(kKinds[kind].label));
    forms_.push_back(makeForm(kind, suggestionFor(kKinds[kind].name, suggestions)));
    layout->addWidget(forms_.back());
  }
  alignForms(label);
  layout->addWidget(refusal_);
  layout->addStretch();
  layout->addWidget(buttons_);

  connect(kinds_, &QComboBox::currentIndexChanged, this, &AddDialog::chosen);
  connect(buttons_, &QDialogButtonBox::accepted, this, &AddDialog::accept);
  connect(buttons_, &QDialogButtonBox::rejected, this, &AddDialog::reject);
  chosen();
}

QWidget* AddDialog::makeForm(std::size_t kind, const ZRDictionary& suggestion) {
  auto* const form = new QWidget;
  auto* const rows = new QFormLayout(form);
  rows->setContentsMargins({});
  for (const Field& field : kKinds[kind].fields) {
    QWidget* const editor = makeEditor(field, suggestion);
    editor->setObjectName(field.key);
    if (auto* const edit = qobject_cast<QLineEdit*>(editor)) {
      connect(edit, &QLineEdit::textChanged, this, &AddDialog::changed);
      rows->addRow(tr(field.label), edit);
    } else {
      rows->addRow(QString(), editor);
    }
  }
  return form;
}

/// One column for all labels, whichever form they are on.
void AddDialog::alignForms(QLabel* first) const {
  QList<QLabel*> labels{first};
  for (const QWidget* const form : forms_) labels += form->findChildren<QLabel*>();
  int width = 0;
  for (const QLabel* const label : labels) width = std::max(width, label->sizeHint().width());
  for (QLabel* const label : labels) label->setMinimumWidth(width);
}

std::size_t AddDialog::kind() const {
  return static_cast<std::size_t>(kinds_->currentIndex());
}

site::TaskRequest AddDialog::request() const {
  const Kind& chosen = kKinds[kind()];
  site::TaskRequest request{chosen.name, {}};
  for (const Field& field : chosen.fields) request.params.set(field.key, valueOf(field, *forms_[kind()]));
  return request;
}

void AddDialog::chosen() {
  for (QWidget* const form : forms_) form->setVisible(form == forms_[kind()]);
  changed();
  adjustSize();
}

/// Only what can be asked for can be sent off.
void AddDialog::changed() {
  const site::TaskRequest now = request();
  const bool complete = std::ranges::all_of(
      kKinds[kind()].fields, [&now](const Field& field) { return !field.required || now.params.contains(field.key); });
  buttons_->button(QDialogButtonBox::Ok)->setEnabled(complete);
  refusal_->hide();
}

void AddDialog::accept() {
  const QString refusal = add_(request());
  if (refusal.isEmpty()) return QDialog::accept();
  refusal_->setText(refusal);
  refusal_->show();
}

}  // namespace player
