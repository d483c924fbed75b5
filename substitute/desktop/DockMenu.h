// The menu that moves a palette, as dragging it does.
#pragma once

#include <QMenu>
#include <functional>

class QActionGroup;
class QMainWindow;

namespace substitute {

class PaletteDock;

class DockMenu : public QMenu {
  Q_OBJECT

 public:
  // Moves, within `window`, the palette that `current` returns when an entry is chosen; null: there
  // is none. The palette's owner learns of it by the signals of its dock, as it does of a drag.
  DockMenu(QMainWindow& window, std::function<PaletteDock*()> current, QWidget* parent);

 private:
  void checkPlace();
  void move(Qt::DockWidgetArea area);

  QMainWindow& window_;
  std::function<PaletteDock*()> current_;
  QActionGroup* places_;
};

}  // namespace substitute
