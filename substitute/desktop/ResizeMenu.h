// The menu that resizes the part of the window with the focus, as a drag of its edge does.
#pragma once

#include <QMenu>

class QMainWindow;

namespace substitute {

// Resizes the pane of the splitter around the focus, or the dock widget where there is no splitter.
// Horizontally, a list with a header resizes its current column instead.
class ResizeMenu : public QMenu {
  Q_OBJECT

 public:
  ResizeMenu(QMainWindow& window, QWidget* parent);

 private:
  void resizeFocused(Qt::Orientation orientation, int pixels);

  QMainWindow& window_;
};

}  // namespace substitute
