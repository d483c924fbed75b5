// The menu that resizes what has the focus, as a drag of its edge does.
#pragma once

#include <QMenu>

class QMainWindow;

namespace substitute {

// Across, a list with a header resizes its current column. All else resizes the part of the
// splitter that it stands in, and where there is none, its dock widget.
class ResizeMenu : public QMenu {
  Q_OBJECT

 public:
  ResizeMenu(QMainWindow& window, QWidget* parent);

 private:
  void resizeFocused(Qt::Orientation orientation, int pixels);

  QMainWindow& window_;
};

}  // namespace substitute
