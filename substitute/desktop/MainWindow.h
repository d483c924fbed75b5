// The host's window. It keeps no copy of the host's state: after every change it reads the host's
// objects again, and what the user does changes these objects.
#pragma once

#include <QMainWindow>
#include <vector>

#include "substitute/driver/Recording.h"
#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

class AddInMenu;
class CommandPanel;
class HostMenu;
class HostToolbar;
class PaletteDock;
class Playback;
class StatusBar;
class TracePanel;
class ViewMenu;
class WebEngine;

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  // `addin` is the library that `runner` starts on `host`; its folder holds the icons. All
  // references outlive the window.
  MainWindow(Host& host, ScenarioRunner& runner, WebEngine& engine, const std::string& addin);

  // Plays one command and refreshes the window. False when the library cannot be loaded, which the
  // status bar then shows.
  bool play(const Command& command);
  bool play(const std::string& line) { return play(parseCommand(line)); }

  // Whether closing the window calls the add-in's `stop` first, as a host does when it quits. True
  // unless set.
  void setStopsAtEnd(bool stops) { stopsAtEnd_ = stops; }

  // The pending commands of scenarios.
  Playback& playback() { return *playback_; }

  // What was played since the window was created.
  Recording& recording() { return recording_; }

  // The full text of the message in the status bar.
  const QString& message() const;

  // The dock of the palette; null when there is no palette of that id.
  PaletteDock* dock(const std::string& id) const;

  // True when every visible page is loaded or has failed to load.
  bool settled() const;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void makeCommandPanel();
  void makeMenus();
  void onTraceEntry(const Json& entry);
  void refresh();
  void removeStaleDocks();
  void refreshDocks();
  void placeDock(PaletteDock& dock);
  PaletteDock* addDock(const PaletteObject& object);
  void onUserMoved(PaletteDock& moved);
  void refreshToolbars();
  PaletteDock* currentDock() const;
  void showHelp();

  Host& host_;
  ScenarioRunner& runner_;
  WebEngine& engine_;
  QString addinFolder_;
  bool stopsAtEnd_ = true;
  bool refreshing_ = false;
  bool wasOffline_;
  Json toolbarsShown_;
  std::vector<PaletteDock*> docks_;
  std::vector<HostToolbar*> toolbars_;
  Recording recording_;
  Playback* playback_;
  CommandPanel* commands_;
  TracePanel* trace_;
  StatusBar* status_;
  AddInMenu* addinMenu_ = nullptr;
  HostMenu* hostMenu_ = nullptr;
  ViewMenu* viewMenu_ = nullptr;
  Signal<Json>::Subscription traceSubscription_;
  Signal<std::string>::Subscription failureSubscription_;
};

}  // namespace substitute
