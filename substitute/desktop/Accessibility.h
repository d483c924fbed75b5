// Keyboard and screen reader support that Qt itself does not give.
#pragma once

#include <QFocusFrame>
#include <QObject>
#include <QPointer>
#include <vector>

class QMainWindow;
class QMenu;

namespace substitute {

// Has a screen reader read out the accessible name of `part`, wherever the focus is.
void announce(QWidget& part);

// For one main window: gives Qt's own buttons accessible names, draws a frame around the widget
// with the focus, lets Enter press a button, and moves the focus between panes. The panes are the
// toolbars and dock widgets, ordered from top to bottom and from left to right, and then the status
// bar.
class Accessibility : public QObject {
  Q_OBJECT

 public:
  // `window` becomes the parent. Its menu bar and line edits exist already.
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
