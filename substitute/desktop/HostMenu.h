// The menu that changes what the host reports: network, user language and entitlement text.
#pragma once

#include <QMenu>

#include "substitute/driver/Scenario.h"

class QActionGroup;

namespace substitute {

class Host;

class HostMenu : public QMenu {
  Q_OBJECT

 public:
  // `host` outlives the menu. It is only read here.
  HostMenu(const Host& host, QWidget* parent);

  // Checks and enables the entries by the host's values.
  void refresh();

 Q_SIGNALS:
  // The user has chosen what `command` does.
  void commandChosen(const Command& command);

 private:
  void addLanguageMenu();
  void askLanguage();
  void askEntitlement();

  const Host& host_;
  QAction* offline_;
  QActionGroup* languages_;
  QAction* noEntitlement_;
};

}  // namespace substitute
