#pragma once

#include <QDialog>
#include <functional>
#include <string>
#include <vector>

#include "TaskRequest.h"

class QComboBox;
class QDialogButtonBox;
class QLabel;

namespace player {

/// Asks for a new download of one of the three kinds, and stays open until it is taken.
class AddDialog final : public QDialog {
  Q_OBJECT

 public:
  /// Takes the request, or says why not.
  using Add = std::function<QString(const site::TaskRequest& request)>;

  /// `suggestions` fill the fields of their kinds.
  AddDialog(const std::vector<site::TaskRequest>& suggestions, Add add, QWidget* parent);

  /// What the fields of the chosen kind say.
  site::TaskRequest request() const;

  void accept() override;

 private:
  QWidget* makeForm(std::size_t kind, const ZRDictionary& suggestion);
  void alignForms(QLabel* first) const;
  std::size_t kind() const;
  void chosen();
  void changed();

  const Add add_;
  QComboBox* kinds_ = nullptr;
  std::vector<QWidget*> forms_;  // one a kind, of which one is shown
  QLabel* refusal_ = nullptr;
  QDialogButtonBox* buttons_ = nullptr;
};

}  // namespace player
