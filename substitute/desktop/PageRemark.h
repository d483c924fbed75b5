// A line beneath a palette's page that says what the page did in vain.
#pragma once

#include <QWidget>

class QLabel;

namespace substitute {

// Hidden until there is something to tell, and again when the user has read it.
class PageRemark : public QWidget {
  Q_OBJECT

 public:
  explicit PageRemark(QWidget* parent = nullptr);

  // Shows `text` in place of what stood there, and how much has been told since `clear`. A long
  // text is shortened; the tooltip has it whole.
  void tell(const QString& text);

  void clear();

 private:
  QLabel* text_;
  int told_ = 0;
};

}  // namespace substitute
