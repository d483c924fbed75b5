// The menu that starts and stops the add-in and presses its button.
#pragma once

#include <QMenu>

#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

class AddInMenu : public QMenu {
  Q_OBJECT

 public:
  // `runner` outlives the menu.
  AddInMenu(ScenarioRunner& runner, QWidget* parent);

  // Enables what can be done now.
  void refresh();

 Q_SIGNALS:
  // The user has chosen what `command` does.
  void commandChosen(const Command& command);
  void quitRequested();

 private:
  void restart();

  ScenarioRunner& runner_;
  QAction* start_;
  QAction* stop_;
  QAction* press_;
};

}  // namespace substitute
