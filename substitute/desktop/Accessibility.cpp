#include "substitute/desktop/Accessibility.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QDockWidget>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMenu>
#include <QToolBar>
#include <algorithm>
#include <vector>

namespace substitute {

namespace {

bool takesFocus(const QWidget* widget) {
  return widget != nullptr && widget->isVisible() && widget->isEnabled() &&
         (widget->focusPolicy() & Qt::TabFocus) != 0;
}

// The widget that had the focus in the pane last, else the one that is used most, else the first
// in its content that takes the focus.
QWidget* focusTargetIn(const QWidget& pane) {
  for (QWidget* const widget : {pane.focusWidget(), pane.property(usedPart).value<QWidget*>()}) {
    if (takesFocus(widget)) return widget;
  }
  const auto* const dock = qobject_cast<const QDockWidget*>(&pane);
  const QList<QWidget*> parts =
      (dock == nullptr ? &pane : dock->widget())->findChildren<QWidget*>();
  const auto first = std::find_if(parts.begin(), parts.end(), takesFocus);
  return first == parts.end() ? nullptr : *first;
}

}  // namespace

void announce(QWidget& part) {
  QAccessibleEvent alert(&part, QAccessible::Alert);
  QAccessible::updateAccessibility(&alert);
}

Accessibility::Accessibility(QMainWindow& window, QMenu& menu) : QObject(&window), window_(window) {
  qApp->installEventFilter(this);
  connect(qApp, &QApplication::focusChanged, this, &Accessibility::placeFrame);
  menu.addAction(tr("Ne&xt pane"), this, [this] { goToPane(1); })
      ->setShortcuts({Qt::Key_F6, Qt::CTRL | Qt::Key_Tab});
  menu.addAction(tr("Pre&vious pane"), this, [this] { goToPane(-1); })
      ->setShortcuts({Qt::SHIFT | Qt::Key_F6, Qt::CTRL | Qt::SHIFT | Qt::Key_Tab});
}

bool Accessibility::eventFilter(QObject* object, QEvent* event) {
  // A shortcut is no key press.
  const bool isShortcut = event->type() == QEvent::ShortcutOverride;
  const bool isKey = event->type() == QEvent::KeyPress;
  if (isShortcut || isKey || event->type() == QEvent::MouseButtonPress) {
    keyboardIsUsed_ = isShortcut || isKey;
    placeFrame();
  }
  if (!isKey) return false;
  const auto* const press = static_cast<QKeyEvent*>(event);
  if (press->key() != Qt::Key_Return && press->key() != Qt::Key_Enter) return false;
  if ((press->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier) return false;
  auto* const button = qobject_cast<QAbstractButton*>(object);
  // A dialog has its own button for Enter.
  if (button == nullptr || qobject_cast<QDialog*>(button->window()) != nullptr) return false;
  button->click();
  return true;
}

void Accessibility::goToPane(int step) {
  std::vector<QWidget*> targets;
  int place = step > 0 ? -1 : 0;
  for (QWidget* const pane :
       window_.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
    const bool isPane = qobject_cast<QToolBar*>(pane) || qobject_cast<QDockWidget*>(pane);
    // Of several in tabs, only one has a visible region.
    if (!isPane || !pane->isVisible() || pane->visibleRegion().isEmpty()) continue;
    if (pane->isAncestorOf(QApplication::focusWidget())) place = static_cast<int>(targets.size());
    if (QWidget* const target = focusTargetIn(*pane)) targets.push_back(target);
  }
  const int count = static_cast<int>(targets.size());
  QWidget* const target = targets.at(static_cast<std::size_t>((place + step + count) % count));
  target->activateWindow();
  target->setFocus(Qt::ShortcutFocusReason);
}

void Accessibility::placeFrame() {
  // The frame is a child of the framed window, and may have been deleted with it.
  if (!frame_) frame_ = new QFocusFrame(&window_);
  frame_->setWidget(keyboardIsUsed_ ? QApplication::focusWidget() : nullptr);
}

}  // namespace substitute
