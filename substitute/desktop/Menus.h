// The menus of the window, and the toolbar with the entries that are used most.
#pragma once

#include <QKeySequence>
#include <QObject>
#include <functional>

class QAction;
class QMenu;

namespace substitute {

class CommandPanel;
class MainWindow;
class PaletteDock;
class ScenarioRunner;
class TracePanel;

class Menus : public QObject {
  Q_OBJECT

 public:
  // Fills the menu bar of `window`, which becomes the parent, and adds the toolbar to it. All
  // references outlive the menus.
  Menus(MainWindow& window, ScenarioRunner& runner, CommandPanel& commands, TracePanel& trace);

  // Enables and checks the entries by what can be done now.
  void refresh();

 private:
  QAction* add(QMenu& menu, const char* name, const QString& text, const QKeySequence& shortcut,
               const std::function<void()>& done);
  std::function<void()> playing(const char* line);
  void fillAddInMenu(QMenu& menu);
  void fillScenarioMenu(QMenu& menu);
  void fillHostMenu(QMenu& menu);
  void fillViewMenu(QMenu& menu, TracePanel& trace);
  void addToolbar();
  void startAgain(bool asNewUser);
  void askEntitlement();
  void askWhatToOpen();
  void askWhereToSave(bool withExpectations);
  QAction& entry(const char* name) const;

  MainWindow& window_;
  ScenarioRunner& runner_;
  CommandPanel& commands_;
  QMenu* speeds_ = nullptr;
};

}  // namespace substitute
