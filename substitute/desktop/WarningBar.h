// A bar beneath a palette's page that shows the page's last error or refused request.
#pragma once

#include <QWidget>

class QLabel;

namespace substitute {

// Hidden while there is no warning, and when the user has dismissed it.
class WarningBar : public QWidget {
  Q_OBJECT

 public:
  explicit WarningBar(QWidget* parent = nullptr);

  // Shows `text` in place of the warning before, with the number of warnings since `clear`. A long
  // text is shortened; its tooltip is not.
  void warn(const QString& text);

  void clear();

 private:
  QLabel* text_;
  int count_ = 0;
};

}  // namespace substitute
