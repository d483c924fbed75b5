// What Qt leaves to the mouse or the eye alone, made there for the keyboard and the screen reader.
#pragma once

#include <QFocusFrame>
#include <QObject>
#include <QPointer>
#include <vector>

class QMainWindow;
class QMenu;

namespace substitute {

// Has a screen reader say what `part` tells, wherever the focus is.
void announce(QWidget& part);

// For one main window: names Qt's own buttons, frames what has the focus, lets Enter press a
// button, and leads the focus through the panes: toolbars and dock widgets, in the order in which
// they are read, then the status bar.
class Accessibility : public QObject {
  Q_OBJECT

 public:
  // Belongs to `window`, whose parts are there.
  explicit Accessibility(QMainWindow& window);

  // Adds the entries for the next and the previous pane, and for the tooltip of what has the focus.
  void addActions(QMenu& menu);

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void orderFocus();
  std::vector<QWidget*> panes() const;
  void goToPane(int step);
  void moveFrameTo(QWidget* focused);

  QMainWindow& window_;
  QPointer<QFocusFrame> frame_;
};

}  // namespace substitute
