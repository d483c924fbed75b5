// The middle of the window, where the host would have its model.
#pragma once

#include <QWidget>

namespace substitute {

// An empty sheet with a ground grid and one simple body on it. Takes no input.
class Canvas : public QWidget {
 public:
  explicit Canvas(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace substitute
