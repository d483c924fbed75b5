// The host's window. It reads the host's objects again after every change, and what the user does
// changes these objects.
#pragma once

#include <QMainWindow>
#include <QPixmap>
#include <QPointer>
#include <set>
#include <vector>

#include "substitute/desktop/Recording.h"
#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

class CommandPanel;
class Menus;
class PaletteDock;
class Playback;
class StatusBar;
class TracePanel;
class WebEngine;

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  // `addin` is the library that `runner` starts on `host`; its folder holds the icons. All
  // references outlive the window.
  MainWindow(Host& host, ScenarioRunner& runner, WebEngine& engine, const std::string& addin);

  // Takes size and layout from `file`, if it holds them, and writes them there when the window is
  // closed. Then fits the window to the screen. Call it before the window is shown.
  void useLayout(const QString& file);

  // Plays the pending commands as soon as the window has been painted.
  void playWhenPainted() { playsWhenPainted_ = true; }

  // Plays one command and refreshes the window. Returns why the library cannot be loaded, which the
  // status bar then shows; empty when the command was played.
  std::string play(const Command& command);
  std::string play(const std::string& line) { return play(parseCommand(line)); }
  std::string play(const std::string& name, const Arguments& arguments);

  // Appends the commands of a scenario to the pending ones. When something was played or is
  // pending, the user chooses: a new host can play it instead, for which the window is closed.
  // Nothing is appended when one of its lines is wrong.
  void open(const QString& scenario);

  // The scenario that a new host is to play; empty when the user wants none.
  const std::string& nextScenario() const { return nextScenario_; }

  // The pending commands of scenarios.
  Playback& playback() { return *playback_; }

  // What was played since the window was created.
  Recording& recording() { return recording_; }

  // The dock of the palette; null when there is no palette of that id.
  PaletteDock* dock(const std::string& id) const;

  // The visible palette that has the focus, else the first visible one; null when none is visible.
  PaletteDock* currentDock() const;

  // The window with the floating palettes over it.
  QPixmap picture();

  // True when every visible page is loaded or has failed to load.
  bool settled() const;

 protected:
  // Calls the add-in's `stop` first, as a host does when it quits.
  void closeEvent(QCloseEvent* event) override;
  bool eventFilter(QObject* object, QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void connectParts();
  void layOut();
  void onTraceEntry(const Json& entry);
  void refresh();
  void removeStaleDocks();
  void refreshDocks();
  void placeDock(PaletteDock& dock);
  void dockAt(Qt::DockWidgetArea area, PaletteDock& dock);
  PaletteDock* addDock(const PaletteObject& object);
  void recordMove();
  void refreshToolbars();
  void showHelp();

  Host& host_;
  ScenarioRunner& runner_;
  WebEngine& engine_;
  QString addinFolder_;
  QString layoutFile_;
  std::string nextScenario_;
  bool playsWhenPainted_ = false;
  bool refreshing_ = false;
  bool isStale_ = false;  // to be refreshed when the commands that are played at once have been
  bool wasOffline_;
  Json toolbarsShown_;
  std::vector<PaletteDock*> docks_;
  std::set<std::string> changedPalettes_;  // those that were shown, hidden or made: their ids
  QPointer<PaletteDock> moved_;            // by the user, and not recorded yet
  std::vector<QToolBar*> toolbars_;
  Recording recording_;
  Playback* playback_;
  CommandPanel* commands_;
  TracePanel* trace_;
  StatusBar* status_;
  Menus* menus_;
  std::vector<std::shared_ptr<const void>> subscriptions_;
};

}  // namespace substitute
