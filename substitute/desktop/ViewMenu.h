// The menu that shows, moves and resizes the parts of the window.
#pragma once

#include <QMenu>
#include <functional>

#include "substitute/driver/Scenario.h"

class QMainWindow;

namespace substitute {

class CommandPanel;
class PaletteDock;
class TracePanel;

class ViewMenu : public QMenu {
  Q_OBJECT

 public:
  // `currentDock` returns the palette that the entries for a palette's page act on; null: there is
  // none. `window` and the panels outlive the menu.
  ViewMenu(QMainWindow& window, CommandPanel& commands, TracePanel& trace,
           std::function<PaletteDock*()> currentDock, QWidget* parent);

  // Checks and enables the entries. `learning` is the learning palette, null when there is none.
  void refresh(const PaletteDock* learning);

 Q_SIGNALS:
  // The user has chosen what `command` does.
  void commandChosen(const Command& command);

 private:
  void addPanelEntries(CommandPanel& commands, TracePanel& trace);
  void addPaletteEntries(QMainWindow& window);
  QAction* addPageEntry(const char* name, const QString& text, const QKeySequence& shortcut,
                        const std::function<void(PaletteDock&)>& action);

  std::function<PaletteDock*()> currentDock_;
  QAction* showPalette_ = nullptr;
  QMenu* dockMenu_ = nullptr;
  QAction* closePalette_ = nullptr;
  QAction* reloadPage_ = nullptr;
  QAction* developerTools_ = nullptr;
};

}  // namespace substitute
