// The host's window. It holds nothing of the host's: what it shows is read from the host's objects
// after every change, and what the user does is done to them.
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
  // `addin` is the library whose folder holds the icons, and which `runner` starts on `host`. All
  // references outlive the window.
  MainWindow(Host& host, ScenarioRunner& runner, WebEngine& engine, const std::string& addin);

  // Plays one command and shows what came of it. A library that cannot be loaded is told in the
  // status bar, and in the result: false.
  bool play(const Command& command);
  bool play(const std::string& line) { return play(parseCommand(line)); }

  // Whether closing the window calls the add-in's `stop` first, as a host does at its end. True at
  // the beginning.
  void setStopsAtEnd(bool stops) { stopsAtEnd_ = stops; }

  // What is to come of a scenario.
  Playback& playback() { return *playback_; }

  // What was done since the window was made.
  Recording& recording() { return recording_; }

  // What the status bar tells, whole.
  const QString& message() const;

  // The palette's dock; null when there is no such palette.
  PaletteDock* dock(const std::string& id) const;

  // True when every page that can be seen is loaded or known to be out of reach.
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
