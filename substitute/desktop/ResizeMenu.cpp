#include "substitute/desktop/ResizeMenu.h"

#include <QApplication>
#include <QDockWidget>
#include <QHeaderView>
#include <QMainWindow>
#include <QSplitter>
#include <QTreeView>
#include <algorithm>

namespace substitute {

namespace {

constexpr int step = 20;

int extent(Qt::Orientation orientation, const QSize& size) {
  return orientation == Qt::Horizontal ? size.width() : size.height();
}

bool resizeColumn(QWidget& focused, int pixels) {
  auto* const list = qobject_cast<QTreeView*>(&focused);
  if (list == nullptr || list->isHeaderHidden() || !list->currentIndex().isValid()) return false;
  QHeaderView* const header = list->header();
  const int column = list->currentIndex().column();
  header->resizeSection(
      column, std::max(header->minimumSectionSize(), header->sectionSize(column) + pixels));
  return true;
}

// The neighbour gives or takes the space.
void resizePart(QSplitter& splitter, int part, int pixels) {
  const int neighbour = part + 1 < splitter.count() ? part + 1 : part - 1;
  QList<int> sizes = splitter.sizes();
  sizes[part] += pixels;
  sizes[neighbour] -= pixels;
  splitter.setSizes(sizes);
}

}  // namespace

ResizeMenu::ResizeMenu(QMainWindow& window, QWidget* parent)
    : QMenu(tr("Resi&ze"), parent), window_(window) {
  struct Entry {
    const char* name;
    QString text;
    Qt::Key key;
    Qt::Orientation orientation;
    int pixels;
  };
  const Entry entries[] = {
      {"wider", tr("&Wider"), Qt::Key_Right, Qt::Horizontal, step},
      {"narrower", tr("&Narrower"), Qt::Key_Left, Qt::Horizontal, -step},
      {"taller", tr("&Taller"), Qt::Key_Up, Qt::Vertical, step},
      {"lower", tr("&Lower"), Qt::Key_Down, Qt::Vertical, -step},
  };
  for (const Entry& entry : entries) {
    QAction* const action =
        addAction(entry.text, this, [this, orientation = entry.orientation, pixels = entry.pixels] {
          resizeFocused(orientation, pixels);
        });
    action->setObjectName(entry.name);
    action->setShortcut(Qt::ALT | Qt::SHIFT | entry.key);
  }
}

void ResizeMenu::resizeFocused(Qt::Orientation orientation, int pixels) {
  QWidget* part = QApplication::focusWidget();
  if (part == nullptr) return;
  if (orientation == Qt::Horizontal && resizeColumn(*part, pixels)) return;
  for (; part != nullptr; part = part->parentWidget()) {
    auto* const splitter = qobject_cast<QSplitter*>(part->parentWidget());
    if (splitter != nullptr && splitter->orientation() == orientation && splitter->count() > 1) {
      return resizePart(*splitter, splitter->indexOf(part), pixels);
    }
    auto* const dock = qobject_cast<QDockWidget*>(part);
    if (dock == nullptr) continue;
    if (dock->isFloating()) {
      const bool isHorizontal = orientation == Qt::Horizontal;
      dock->resize(dock->size() + (isHorizontal ? QSize(pixels, 0) : QSize(0, pixels)));
    } else {
      window_.resizeDocks({dock}, {extent(orientation, dock->size()) + pixels}, orientation);
    }
    return;
  }
}

}  // namespace substitute
