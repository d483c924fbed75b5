#include "substitute/desktop/DockMenu.h"

#include <QActionGroup>
#include <QMainWindow>

#include "substitute/desktop/PaletteDock.h"

namespace substitute {

DockMenu::DockMenu(QMainWindow& window, std::function<PaletteDock*()> current, QWidget* parent)
    : QMenu(tr("Doc&k palette"), parent),
      window_(window),
      current_(std::move(current)),
      places_(new QActionGroup(this)) {
  struct Place {
    Qt::DockWidgetArea area;
    const char* name;
    QString text;
  };
  const Place places[] = {{Qt::LeftDockWidgetArea, "dock:left", tr("&Left")},
                          {Qt::RightDockWidgetArea, "dock:right", tr("&Right")},
                          {Qt::TopDockWidgetArea, "dock:top", tr("&Top")},
                          {Qt::BottomDockWidgetArea, "dock:bottom", tr("&Bottom")},
                          {Qt::NoDockWidgetArea, "dock:floating", tr("&Floating")}};
  for (const Place& place : places) {
    QAction* const entry = addAction(place.text, this, [this, area = place.area] { move(area); });
    entry->setObjectName(place.name);
    entry->setData(place.area);
    entry->setCheckable(true);
    places_->addAction(entry);
  }
  connect(this, &QMenu::aboutToShow, this, &DockMenu::checkPlace);
}

void DockMenu::checkPlace() {
  PaletteDock* const dock = current_();
  if (dock == nullptr) return;
  const int place = dock->isFloating() ? Qt::NoDockWidgetArea : window_.dockWidgetArea(dock);
  for (QAction* const entry : places_->actions()) entry->setChecked(entry->data() == place);
}

void DockMenu::move(Qt::DockWidgetArea area) {
  PaletteDock* const dock = current_();
  if (dock == nullptr) return;
  if (area == Qt::NoDockWidgetArea) {
    dock->floatOverCanvas();
  } else {
    dock->setFloating(false);
    window_.addDockWidget(area, dock);
  }
}

}  // namespace substitute
