// The menu that docks a palette elsewhere or lets it float, as a drag does.
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
  // An entry moves the palette that `current` returns at that moment, in `window`; null: nothing is
  // moved. The dock emits the same signals as after a drag.
  DockMenu(QMainWindow& window, std::function<PaletteDock*()> current, QWidget* parent);

 private:
  void checkPlace();
  void move(Qt::DockWidgetArea area);

  QMainWindow& window_;
  std::function<PaletteDock*()> current_;
  QActionGroup* places_;
};

}  // namespace substitute
