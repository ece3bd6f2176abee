#pragma once

#include <QTranslator>

namespace player {

/// The window's texts in Chinese, whichever class shows them. English ones stand in the code.
class Chinese final : public QTranslator {
 public:
  using QTranslator::QTranslator;

  bool isEmpty() const override { return false; }

  /// Null when there is no translation; the text stays as it is then.
  QString translate(const char* context, const char* text, const char* disambiguation = nullptr,
                    int n = -1) const override;
};

}  // namespace player
