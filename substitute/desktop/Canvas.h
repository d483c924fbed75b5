// The picture in the middle of the window, where a real host shows its model.
#pragma once

#include <QWidget>

namespace substitute {

// A ground grid with one simple body on it. Takes no input.
class Canvas : public QWidget {
 public:
  Canvas();

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace substitute
