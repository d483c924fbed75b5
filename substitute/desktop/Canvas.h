// The centre of the window, where a real host shows its model.
#pragma once

#include <QWidget>

namespace substitute {

// Draws a ground grid with one simple body on it. Takes no input.
class Canvas : public QWidget {
 public:
  explicit Canvas(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace substitute
