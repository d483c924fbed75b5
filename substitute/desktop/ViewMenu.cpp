#include "substitute/desktop/ViewMenu.h"

#include <utility>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/DockMenu.h"
#include "substitute/desktop/PaletteDock.h"
#include "substitute/desktop/ResizeMenu.h"
#include "substitute/desktop/TracePanel.h"

namespace substitute {

ViewMenu::ViewMenu(QMainWindow& window, CommandPanel& commands, TracePanel& trace,
                   std::function<PaletteDock*()> currentDock, QWidget* parent)
    : QMenu(tr("&View"), parent), currentDock_(std::move(currentDock)) {
  showPalette_ = addAction(tr("&Learning palette"));
  showPalette_->setObjectName("showPalette");
  showPalette_->setCheckable(true);
  showPalette_->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_P);
  connect(showPalette_, &QAction::triggered, this,
          [this](bool show) { Q_EMIT commandChosen(parseCommand(show ? "show" : "hide")); });
  addPanelEntries(commands, trace);
  addSeparator();
  addPaletteEntries(window);
  addSeparator();
  addMenu(new ResizeMenu(window, this));
}

void ViewMenu::refresh(const PaletteDock* learning) {
  showPalette_->setEnabled(learning != nullptr);
  showPalette_->setChecked(learning != nullptr && learning->object().values().visible);
  const PaletteDock* const current = currentDock_();
  dockMenu_->setEnabled(current != nullptr);
  closePalette_->setEnabled(current != nullptr && current->object().values().closeButton);
  reloadPage_->setEnabled(current != nullptr);
  developerTools_->setEnabled(current != nullptr);
}

void ViewMenu::addPanelEntries(CommandPanel& commands, TracePanel& trace) {
  QAction* const showCommands = commands.toggleViewAction();
  showCommands->setText(tr("&Commands"));
  showCommands->setObjectName("showCommands");
  addAction(showCommands);
  QAction* const showTrace = trace.toggleViewAction();
  showTrace->setText(tr("&Trace"));
  showTrace->setObjectName("showTrace");
  addAction(showTrace);
  QAction* const commandLine =
      addAction(tr("Command &line"), &commands, &CommandPanel::focusCommandLine);
  commandLine->setObjectName("commandLine");
  commandLine->setShortcut(Qt::CTRL | Qt::Key_L);
}

void ViewMenu::addPaletteEntries(QMainWindow& window) {
  dockMenu_ = new DockMenu(window, currentDock_, this);
  addMenu(dockMenu_);
  closePalette_ = addPageEntry("closePalette", tr("Close p&alette"), Qt::CTRL | Qt::Key_W,
                               [](PaletteDock& dock) { dock.close(); });
  reloadPage_ = addPageEntry("reloadPage", tr("&Reload page"), Qt::Key_F5,
                             [](PaletteDock& dock) { dock.reload(); });
  developerTools_ = addPageEntry("developerTools", tr("&Developer tools"), Qt::Key_F12,
                                 [](PaletteDock& dock) { dock.openDeveloperTools(); });
}

// `action` is done to the current palette.
QAction* ViewMenu::addPageEntry(const char* name, const QString& text, const QKeySequence& shortcut,
                                const std::function<void(PaletteDock&)>& action) {
  QAction* const entry = addAction(text, this, [this, action] {
    if (PaletteDock* const dock = currentDock_()) action(*dock);
  });
  entry->setObjectName(name);
  entry->setShortcut(shortcut);
  return entry;
}

}  // namespace substitute
