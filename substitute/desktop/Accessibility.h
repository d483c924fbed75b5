// Keyboard and screen reader support that Qt itself does not give.
#pragma once

#include <QFocusFrame>
#include <QObject>
#include <QPointer>

class QMainWindow;
class QMenu;

namespace substitute {

// Has a screen reader read out the accessible name of `part`, wherever the focus is.
void announce(QWidget& part);

// The property of a dock widget that names the part of it that is used most, a QWidget*; without
// it that is the first part.
inline constexpr const char* usedPart = "usedPart";

// For one main window: draws a frame around the widget with the focus while the keyboard is used,
// lets Enter press a button, and moves the focus between panes: the toolbars and dock widgets in
// the order of their creation.
class Accessibility : public QObject {
  Q_OBJECT

 public:
  // Adds the entries for the next and the previous pane to `menu`. `window` becomes the parent.
  Accessibility(QMainWindow& window, QMenu& menu);

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void goToPane(int step);
  void placeFrame();

  QMainWindow& window_;
  QPointer<QFocusFrame> frame_;
  bool keyboardIsUsed_ = false;
};

}  // namespace substitute
