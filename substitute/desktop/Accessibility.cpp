#include "substitute/desktop/Accessibility.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QDockWidget>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMenu>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QToolTip>
#include <algorithm>

namespace substitute {

namespace {

bool takesFocus(const QWidget& widget) {
  return widget.isVisible() && widget.isEnabled() && (widget.focusPolicy() & Qt::TabFocus) != 0;
}

// Qt moves such a widget in the focus chain together with its parent.
bool isFocusProxyOfParent(const QWidget& widget) {
  return widget.parentWidget() != nullptr && widget.parentWidget()->focusProxy() == &widget;
}

bool contains(const QWidget& pane, const QWidget* widget) {
  return widget != nullptr && (widget == &pane || pane.isAncestorOf(widget));
}

QWidget* firstFocusableIn(QWidget& part) {
  if (takesFocus(part)) return &part;
  for (QWidget* const widget : part.findChildren<QWidget*>()) {
    if (takesFocus(*widget)) return widget;
  }
  return nullptr;
}

// The widget that had the focus in the pane last, else the first in its content that takes the
// focus, else the first in its title bar.
QWidget* focusTargetIn(QWidget& pane) {
  QWidget* const last = pane.focusWidget();
  if (last != nullptr && last->isVisible() && last->isEnabled()) return last;
  if (const auto* const dock = qobject_cast<QDockWidget*>(&pane); dock && dock->widget()) {
    if (QWidget* const content = firstFocusableIn(*dock->widget())) return content;
  }
  return firstFocusableIn(pane);
}

// Buttons that Qt itself adds have an icon and no text.
void nameButtonsOfQt(const QMainWindow& window) {
  for (auto* const more : window.findChildren<QToolButton*>("qt_menubar_ext_button")) {
    more->setAccessibleName(QObject::tr("More menus"));
  }
  for (auto* const clear : window.findChildren<QAction*>("_q_qlineeditclearaction")) {
    clear->setText(QObject::tr("Clear"));
  }
}

}  // namespace

void announce(QWidget& part) {
  QAccessibleEvent alert(&part, QAccessible::Alert);
  QAccessible::updateAccessibility(&alert);
}

Accessibility::Accessibility(QMainWindow& window) : QObject(&window), window_(window) {
  nameButtonsOfQt(window);
  qApp->installEventFilter(this);
  connect(qApp, &QApplication::focusChanged, this,
          [this](QWidget* /*old*/, QWidget* now) { moveFrameTo(now); });
}

void Accessibility::addActions(QMenu& menu) {
  QAction* const next = menu.addAction(tr("Ne&xt pane"), this, [this] { goToPane(1); });
  next->setObjectName("nextPane");
  next->setShortcuts({QKeySequence(Qt::Key_F6), QKeySequence(Qt::CTRL | Qt::Key_Tab)});
  QAction* const previous = menu.addAction(tr("Pre&vious pane"), this, [this] { goToPane(-1); });
  previous->setObjectName("previousPane");
  previous->setShortcuts(
      {QKeySequence(Qt::SHIFT | Qt::Key_F6), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Tab)});
  QAction* const tip = menu.addAction(tr("Show t&ooltip"), this, [] {
    QWidget* widget = QApplication::focusWidget();
    while (widget != nullptr && widget->toolTip().isEmpty()) widget = widget->parentWidget();
    if (widget == nullptr) return;
    QToolTip::showText(widget->mapToGlobal(QPoint(0, widget->height())), widget->toolTip(), widget);
  });
  tip->setObjectName("showTooltip");
  tip->setShortcut(Qt::CTRL | Qt::Key_F1);
}

bool Accessibility::eventFilter(QObject* object, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return false;
  const auto* const press = static_cast<QKeyEvent*>(event);
  const int key = press->key();
  // Widgets are created and deleted at any time, so the order is computed when it is needed.
  if (key == Qt::Key_Tab || key == Qt::Key_Backtab) orderFocus();
  if (key != Qt::Key_Return && key != Qt::Key_Enter) return false;
  if ((press->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier) return false;
  auto* const button = qobject_cast<QAbstractButton*>(object);
  // A dialog has its own button for Enter.
  if (button == nullptr || qobject_cast<QDialog*>(button->window()) != nullptr) return false;
  button->click();
  return true;
}

// Qt's order is the order of creation. Here the order follows the panes.
void Accessibility::orderFocus() {
  std::vector<QWidget*> chain;
  for (QWidget* next = window_.nextInFocusChain(); next != &window_;
       next = next->nextInFocusChain()) {
    if (takesFocus(*next) && !isFocusProxyOfParent(*next)) chain.push_back(next);
  }
  std::vector<QWidget*> order;
  for (QWidget* const pane : panes()) {
    // Qt joins widgets of one window only.
    if (pane->window() != &window_) continue;
    // The title bar comes before the content.
    const auto* const dock = qobject_cast<QDockWidget*>(pane);
    const QWidget* const content = dock == nullptr ? nullptr : dock->widget();
    for (const bool inContent : {false, true}) {
      for (QWidget* const widget : chain) {
        const bool inside = content != nullptr && contains(*content, widget);
        if (contains(*pane, widget) && inside == inContent) order.push_back(widget);
      }
    }
  }
  // From the last widget to the second, each is put right behind the first. The window itself,
  // where Tab begins, then comes before the first, whatever the order was.
  for (std::size_t i = order.size(); i > 1; --i) QWidget::setTabOrder(order[0], order[i - 1]);
}

// Floating palettes are ordered among the docked ones by their position on the screen.
std::vector<QWidget*> Accessibility::panes() const {
  std::vector<QWidget*> found;
  for (QToolBar* const bar :
       window_.findChildren<QToolBar*>(QString(), Qt::FindDirectChildrenOnly)) {
    if (bar->isVisible()) found.push_back(bar);
  }
  for (QDockWidget* const dock :
       window_.findChildren<QDockWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
    if (dock->isVisible()) found.push_back(dock);
  }
  std::stable_sort(found.begin(), found.end(), [](const QWidget* one, const QWidget* other) {
    const QPoint a = one->mapToGlobal(QPoint());
    const QPoint b = other->mapToGlobal(QPoint());
    return std::pair(a.y(), a.x()) < std::pair(b.y(), b.x());
  });
  found.push_back(window_.statusBar());
  return found;
}

void Accessibility::goToPane(int step) {
  const std::vector<QWidget*> all = panes();
  const int count = static_cast<int>(all.size());
  const QWidget* const focused = QApplication::focusWidget();
  const auto current = std::find_if(
      all.begin(), all.end(), [focused](const QWidget* pane) { return contains(*pane, focused); });
  int place = static_cast<int>(current - all.begin());
  if (current == all.end() && step > 0) place = -1;
  for (int tried = 0; tried < count; ++tried) {
    place = (place + step + count) % count;
    QWidget* const target = focusTargetIn(*all[static_cast<std::size_t>(place)]);
    if (target == nullptr) continue;
    target->activateWindow();
    target->setFocus(Qt::ShortcutFocusReason);
    return;
  }
}

void Accessibility::moveFrameTo(QWidget* focused) {
  // The frame is a child of the framed window, and may have been deleted with it.
  if (!frame_) frame_ = new QFocusFrame(&window_);
  frame_->setWidget(focused);
}

}  // namespace substitute
