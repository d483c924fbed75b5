#include "substitute/desktop/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <algorithm>
#include <initializer_list>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/AddInMenu.h"
#include "substitute/desktop/Canvas.h"
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/HostMenu.h"
#include "substitute/desktop/HostToolbar.h"
#include "substitute/desktop/PaletteDock.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/ScenarioMenu.h"
#include "substitute/desktop/StatusBar.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/desktop/ViewMenu.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

namespace {

QString text(const std::string& bytes) {
  return QString::fromStdString(bytes);
}

// The docking state for a dock area; 0 floats.
int dockingState(Qt::DockWidgetArea area) {
  for (const int state : {1, 2, 3, 4}) {
    if (dockArea(state) == area) return state;
  }
  return 0;
}

}  // namespace

MainWindow::MainWindow(Host& host, ScenarioRunner& runner, WebEngine& engine,
                       const std::string& addin)
    : host_(host),
      runner_(runner),
      engine_(engine),
      addinFolder_(QFileInfo(text(addin)).absolutePath()),
      wasOffline_(host.application().offline),
      recording_(runner),
      playback_(new Playback([this](const Command& command) { return play(command); }, this)),
      commands_(new CommandPanel(runner, this)),
      trace_(new TracePanel(this)),
      status_(new StatusBar) {
  setWindowTitle(tr("The substitute host"));
  setContextMenuPolicy(Qt::NoContextMenu);
  setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
  setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
  resize(1280, 800);
  setCentralWidget(new Canvas);
  addDockWidget(Qt::BottomDockWidgetArea, trace_);
  resizeDocks({trace_}, {190}, Qt::Vertical);
  makeCommandPanel();
  makeMenus();
  setStatusBar(status_);
  traceSubscription_ =
      host_.interceptor().trace.subscribe([this](const Json& entry) { onTraceEntry(entry); });
  failureSubscription_ = runner_.failed.subscribe([this](const std::string& sentence) {
    status_->showImportant(tr("An expectation failed: %1").arg(text(printable(sentence))));
  });
  setFocus();
  refresh();
}

bool MainWindow::play(const Command& command) {
  bool played = true;
  try {
    runner_.play(command);
  } catch (const LoadError& error) {
    status_->showImportant(text(error.what()));
    played = false;
  }
  refresh();
  return played;
}

const QString& MainWindow::message() const {
  return status_->message();
}

PaletteDock* MainWindow::dock(const std::string& id) const {
  for (PaletteDock* const dock : docks_) {
    if (dock->object().id() == id) return dock;
  }
  return nullptr;
}

bool MainWindow::settled() const {
  return std::all_of(docks_.begin(), docks_.end(),
                     [](const PaletteDock* dock) { return dock->isHidden() || dock->settled(); });
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (stopsAtEnd_ && runner_.loaded()) play("stop");
  QMainWindow::closeEvent(event);
}

void MainWindow::makeCommandPanel() {
  addDockWidget(Qt::LeftDockWidgetArea, commands_);
  resizeDocks({commands_}, {300}, Qt::Horizontal);
  connect(playback_, &Playback::added, commands_, &CommandPanel::addPending);
  connect(playback_, &Playback::dequeued, commands_, &CommandPanel::removeFirstPending);
  connect(commands_, &CommandPanel::commandTyped, this,
          [this](const Command& command) { play(command); });
  connect(trace_, &TracePanel::commandRequested, commands_, &CommandPanel::select);
}

void MainWindow::makeMenus() {
  QMenuBar* const bar = menuBar();
  const auto playChosen = [this](const Command& command) { play(command); };
  addinMenu_ = new AddInMenu(runner_, bar);
  connect(addinMenu_, &AddInMenu::commandChosen, this, playChosen);
  connect(addinMenu_, &AddInMenu::quitRequested, this, &QWidget::close);
  auto* const scenarioMenu = new ScenarioMenu(*playback_, recording_, bar);
  connect(scenarioMenu, &ScenarioMenu::reported, commands_, &CommandPanel::showMessage);
  hostMenu_ = new HostMenu(host_, bar);
  connect(hostMenu_, &HostMenu::commandChosen, this, playChosen);
  viewMenu_ = new ViewMenu(
      *this, *commands_, *trace_, [this] { return currentDock(); }, bar);
  connect(viewMenu_, &ViewMenu::commandChosen, this, playChosen);
  (new Accessibility(*this))->addActions(*viewMenu_);
  for (QMenu* const menu :
       std::initializer_list<QMenu*>{addinMenu_, scenarioMenu, hostMenu_, viewMenu_}) {
    bar->addMenu(menu);
  }
  bar->addMenu(tr("&Trace"))->addActions(trace_->actions());
}

// Runs during a call of the add-in, so it must not call the host.
void MainWindow::onTraceEntry(const Json& entry) {
  trace_->append(entry, commands_->current());
  if (entry.contains("op")) {
    // By the end of the call, another palette may have the address of the deleted one.
    if (entry["op"] == "Palette.deleteMe") removeStaleDocks();
    return;
  }
  status_->onTraceEntry(entry);
}

void MainWindow::refresh() {
  refreshing_ = true;
  removeStaleDocks();
  refreshDocks();
  refreshToolbars();
  addinMenu_->refresh();
  hostMenu_->refresh();
  viewMenu_->refresh(dock(learningPalette));
  status_->showValues(host_, runner_.loaded());
  const bool offline = host_.application().offline;
  if (wasOffline_ && !offline) {
    for (PaletteDock* const dock : docks_) dock->retry();
  }
  wasOffline_ = offline;
  refreshing_ = false;
}

void MainWindow::removeStaleDocks() {
  const auto& palettes = host_.application().userInterface->palettes->all.items();
  const auto dead = [&](PaletteDock* dock) {
    const bool alive = std::any_of(palettes.begin(), palettes.end(), [&](const auto& palette) {
      return palette.get() == &dock->object();
    });
    if (alive) return false;
    dock->disconnect(this);
    removeDockWidget(dock);
    // Not deleted here: its own page may be the caller.
    dock->deleteLater();
    return true;
  };
  docks_.erase(std::remove_if(docks_.begin(), docks_.end(), dead), docks_.end());
}

void MainWindow::refreshDocks() {
  for (const auto& palette : host_.application().userInterface->palettes->all.items()) {
    PaletteDock* shown = dock(palette->id());
    if (shown == nullptr) shown = addDock(*palette);
    placeDock(*shown);
    shown->refresh();
  }
}

PaletteDock* MainWindow::addDock(const PaletteObject& object) {
  auto* const dock = new PaletteDock(object, engine_, this);
  dock->hide();
  docks_.push_back(dock);
  const std::string& id = object.id();
  connect(dock, &PaletteDock::closeRequested, this, [this, id] {
    if (id == learningPalette) {
      play("close");
    } else {
      play(Command{"close " + id, "close", {id}});
    }
  });
  connect(dock, &PaletteDock::messageSent, this, [this, id](const QString& sent) {
    const std::string bytes = sent.toStdString();
    if (id == learningPalette) {
      play(Command{"message " + bytes, "message", {bytes}});
    } else {
      play(Command{"message-to " + id + " " + bytes, "message-to", {id, bytes}});
    }
  });
  connect(dock, &PaletteDock::pageFailed, this, [this, id](const QString& reason) {
    status_->showImportant(tr("The page of %1 could not be shown. %2").arg(text(id), reason));
  });
  connect(dock, &QDockWidget::topLevelChanged, this, [this, dock] { onUserMoved(*dock); });
  connect(dock, &QDockWidget::dockLocationChanged, this, [this, dock] { onUserMoved(*dock); });
  return dock;
}

void MainWindow::placeDock(PaletteDock& dock) {
  const PaletteValues& values = dock.object().values();
  const Qt::DockWidgetArea area = dockArea(dock.object().dockingState);
  const bool added = dockWidgetArea(&dock) != Qt::NoDockWidgetArea;
  if (area == Qt::NoDockWidgetArea) {
    if (!added) addDockWidget(Qt::RightDockWidgetArea, &dock);
    if (!dock.isFloating()) dock.floatOverCanvas();
    return;
  }
  if (added && !dock.isFloating() && dockWidgetArea(&dock) == area) return;
  dock.setFloating(false);
  addDockWidget(area, &dock);
  dock.show();
  const bool atSide = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
  const int size = atSide ? values.width : values.height;
  // A planted palette has no size.
  if (size > 0) resizeDocks({&dock}, {size}, atSide ? Qt::Horizontal : Qt::Vertical);
}

// The user has dragged the palette elsewhere: its docking state in the host follows.
void MainWindow::onUserMoved(PaletteDock& moved) {
  if (refreshing_) return;
  for (const auto& palette : host_.application().userInterface->palettes->all.items()) {
    const int state = moved.isFloating() ? 0 : dockingState(dockWidgetArea(&moved));
    if (palette.get() != &moved.object() || palette->dockingState == state) continue;
    const std::string number = std::to_string(state);
    // Not play(): it would refresh the window while the dock is still being moved.
    runner_.play({"dock " + palette->id() + " " + number, "dock", {palette->id(), number}});
    return;
  }
}

void MainWindow::refreshToolbars() {
  const Json state = host_.state();
  const Json now = {state["toolbars"], state["definitions"]};
  if (now == toolbarsShown_) return;
  toolbarsShown_ = now;
  QString focused;
  for (HostToolbar* const toolbar : toolbars_) {
    if (toolbar->isAncestorOf(QApplication::focusWidget())) {
      focused = QApplication::focusWidget()->objectName();
    }
    removeToolBar(toolbar);
    // Not deleted here: one of its buttons may be the caller.
    toolbar->deleteLater();
  }
  toolbars_.clear();
  const UserInterfaceObject& ui = *host_.application().userInterface;
  for (const auto& toolbar : ui.toolbars->all.items()) {
    auto* const shown = new HostToolbar(*toolbar, *ui.definitions, addinFolder_, this);
    connect(shown, &HostToolbar::pressed, this, [this](const QString& id) {
      play(Command{"click " + id.toStdString(), "click", {id.toStdString()}});
    });
    connect(shown, &HostToolbar::helpRequested, this, &MainWindow::showHelp);
    addToolBar(Qt::TopToolBarArea, shown);
    shown->show();
    toolbars_.push_back(shown);
    if (!focused.isEmpty()) shown->focusControl(focused);
  }
}

// The visible palette that has the focus, else the first visible one.
PaletteDock* MainWindow::currentDock() const {
  PaletteDock* first = nullptr;
  for (PaletteDock* const dock : docks_) {
    if (!dock->object().values().visible) continue;
    if (dock->isAncestorOf(QApplication::focusWidget())) return dock;
    if (first == nullptr) first = dock;
  }
  return first;
}

void MainWindow::showHelp() {
  auto* const box = new QMessageBox(
      QMessageBox::NoIcon, tr("The substitute host"),
      tr("<p>This window stands in for the host that the add-in is made for. It loads the add-in's "
         "library, gives it the host's objects and shows them: the toolbar, the palettes and their "
         "pages.</p><p><b>Add-in</b> starts and stops it, also as on another day. <b>Host</b> "
         "changes what the host tells it. <b>View</b> brings the palette and the trace of all "
         "calls.</p>"),
      QMessageBox::Close, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

}  // namespace substitute
