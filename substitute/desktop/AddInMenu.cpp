#include "substitute/desktop/AddInMenu.h"

#include <algorithm>

#include "substitute/api/HostObjects.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

AddInMenu::AddInMenu(ScenarioRunner& runner, QWidget* parent)
    : QMenu(tr("&Add-in"), parent), runner_(runner) {
  start_ = addAction(tr("&Start"), this, [this] { Q_EMIT commandChosen(parseCommand("start")); });
  start_->setObjectName("start");
  start_->setShortcut(Qt::Key_F9);
  stop_ = addAction(tr("S&top"), this, [this] { Q_EMIT commandChosen(parseCommand("stop")); });
  stop_->setObjectName("stop");
  stop_->setShortcut(Qt::SHIFT | Qt::Key_F9);
  QAction* const again = addAction(tr("Start &again as on another day"), this, &AddInMenu::restart);
  again->setObjectName("again");
  again->setShortcut(Qt::CTRL | Qt::Key_F9);
  press_ = addAction(tr("Press the &button"), this,
                     [this] { Q_EMIT commandChosen(parseCommand("click")); });
  press_->setObjectName("press");
  press_->setShortcut(Qt::CTRL | Qt::Key_B);
  addSeparator();
  QAction* const quit = addAction(tr("&Quit"), this, &AddInMenu::quitRequested);
  quit->setShortcut(Qt::CTRL | Qt::Key_Q);
}

void AddInMenu::refresh() {
  const auto& toolbars = runner_.host().application().userInterface->toolbars->all.items();
  const bool hasButton = std::any_of(toolbars.begin(), toolbars.end(), [](const auto& toolbar) {
    return toolbar->controls->all.find(learningButton) != nullptr;
  });
  start_->setEnabled(!runner_.loaded());
  stop_->setEnabled(runner_.loaded());
  press_->setEnabled(hasButton);
}

void AddInMenu::restart() {
  if (runner_.loaded()) Q_EMIT commandChosen(parseCommand("stop"));
  Q_EMIT commandChosen(parseCommand("start"));
}

}  // namespace substitute
