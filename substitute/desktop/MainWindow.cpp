#include "substitute/desktop/MainWindow.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QInputDialog>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <algorithm>
#include <limits>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/Canvas.h"
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/DockMenu.h"
#include "substitute/desktop/HostToolbar.h"
#include "substitute/desktop/PaletteDock.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/ResizeMenu.h"
#include "substitute/desktop/ScenarioMenu.h"
#include "substitute/desktop/StatusBar.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

namespace {

constexpr int otherLanguage = 3;

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
  makeCommands();
  makeMenus();
  setStatusBar(status_);
  traceSubscription_ =
      host_.interceptor().trace.subscribe([this](const Json& entry) { follow(entry); });
  failureSubscription_ = runner_.failed.subscribe([this](const std::string& sentence) {
    status_->tell(tr("An expectation failed: %1").arg(text(printable(sentence))));
  });
  setFocus();
  refresh();
}

bool MainWindow::play(const Command& command) {
  bool played = true;
  try {
    runner_.play(command);
  } catch (const LoadError& error) {
    status_->tell(text(error.what()));
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

void MainWindow::makeCommands() {
  addDockWidget(Qt::LeftDockWidgetArea, commands_);
  resizeDocks({commands_}, {300}, Qt::Horizontal);
  connect(playback_, &Playback::added, commands_, &CommandPanel::addPending);
  connect(playback_, &Playback::dequeued, commands_, &CommandPanel::removeFirstPending);
  connect(commands_, &CommandPanel::commandTyped, this,
          [this](const Command& command) { play(command); });
  connect(trace_, &TracePanel::commandRequested, commands_, &CommandPanel::select);
}

void MainWindow::makeMenus() {
  const auto plays = [this](const char* line) { return [this, line] { play(line); }; };
  QMenu* const addin = menuBar()->addMenu(tr("&Add-in"));
  start_ = addin->addAction(tr("&Start"), this, plays("start"));
  start_->setShortcut(Qt::Key_F9);
  stop_ = addin->addAction(tr("S&top"), this, plays("stop"));
  stop_->setShortcut(Qt::SHIFT | Qt::Key_F9);
  again_ = addin->addAction(tr("Start &again as on another day"), this, [this] {
    if (runner_.loaded()) play("stop");
    play("start");
  });
  again_->setShortcut(Qt::CTRL | Qt::Key_F9);
  press_ = addin->addAction(tr("Press the &button"), this, plays("click"));
  press_->setShortcut(Qt::CTRL | Qt::Key_B);
  addin->addSeparator();
  QAction* const quit = addin->addAction(tr("&Quit"), this, &QWidget::close);
  quit->setShortcut(Qt::CTRL | Qt::Key_Q);

  auto* const scenario = new ScenarioMenu(*playback_, recording_, menuBar());
  menuBar()->addMenu(scenario);
  connect(scenario, &ScenarioMenu::reported, commands_, &CommandPanel::showMessage);

  QMenu* const host = menuBar()->addMenu(tr("&Host"));
  offline_ = host->addAction(tr("&Offline"));
  offline_->setCheckable(true);
  offline_->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_O);
  connect(offline_, &QAction::triggered, this,
          [this](bool offline) { play(offline ? "offline" : "online"); });
  host->addSeparator();
  QMenu* const language = host->addMenu(tr("User &language"));
  languages_ = new QActionGroup(this);
  for (const auto& [number, name] :
       {std::pair(czechLanguage, tr("Czech (2)")), std::pair(otherLanguage, tr("Another (3)"))}) {
    QAction* const choice = language->addAction(
        name, this, [this, value = number] { play("language " + std::to_string(value)); });
    choice->setObjectName(QStringLiteral("language:%1").arg(number));
    choice->setCheckable(true);
    choice->setData(number);
    languages_->addAction(choice);
  }
  language->addAction(tr("&Number…"), this, &MainWindow::askLanguage)->setObjectName("askLanguage");
  host->addAction(tr("&Entitlement text…"), this, &MainWindow::askEntitlement)
      ->setObjectName("askEntitlement");
  noEntitlement_ = host->addAction(tr("N&o entitlement text"), this, plays("entitlement"));

  QMenu* const view = menuBar()->addMenu(tr("&View"));
  showPalette_ = view->addAction(tr("&Learning palette"));
  showPalette_->setCheckable(true);
  showPalette_->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_P);
  connect(showPalette_, &QAction::triggered, this,
          [this](bool show) { play(show ? "show" : "hide"); });
  commands_->toggleViewAction()->setText(tr("&Commands"));
  view->addAction(commands_->toggleViewAction());
  trace_->toggleViewAction()->setText(tr("&Trace"));
  view->addAction(trace_->toggleViewAction());
  QAction* const commandLine =
      view->addAction(tr("Command &line"), commands_, &CommandPanel::focusCommandLine);
  commandLine->setShortcut(Qt::CTRL | Qt::Key_L);
  view->addSeparator();
  dockMenu_ = new DockMenu(
      *this, [this] { return shownDock(); }, view);
  view->addMenu(dockMenu_);
  closePalette_ = view->addAction(tr("Close p&alette"), this, [this] {
    if (PaletteDock* const dock = shownDock()) dock->close();
  });
  closePalette_->setShortcut(Qt::CTRL | Qt::Key_W);
  reloadPage_ = view->addAction(tr("&Reload page"), this, [this] {
    if (PaletteDock* const dock = shownDock()) dock->reload();
  });
  reloadPage_->setShortcut(Qt::Key_F5);
  developerTools_ = view->addAction(tr("&Developer tools"), this, [this] {
    if (PaletteDock* const dock = shownDock()) dock->openDeveloperTools();
  });
  developerTools_->setShortcut(Qt::Key_F12);
  view->addSeparator();
  view->addMenu(new ResizeMenu(*this, view));
  (new Accessibility(*this))->addActions(*view);
  menuBar()->addMenu(tr("&Trace"))->addActions(trace_->actions());

  start_->setObjectName("start");
  stop_->setObjectName("stop");
  again_->setObjectName("again");
  press_->setObjectName("press");
  offline_->setObjectName("offline");
  noEntitlement_->setObjectName("noEntitlement");
  showPalette_->setObjectName("showPalette");
  commands_->toggleViewAction()->setObjectName("showCommands");
  trace_->toggleViewAction()->setObjectName("showTrace");
  commandLine->setObjectName("commandLine");
  closePalette_->setObjectName("closePalette");
  reloadPage_->setObjectName("reloadPage");
  developerTools_->setObjectName("developerTools");
}

// In the midst of the add-in's call: nothing is done here that would call the host.
void MainWindow::follow(const Json& entry) {
  trace_->append(entry, commands_->current());
  if (entry.contains("op")) {
    // The address of a deleted palette may be another's by the end of the call.
    if (entry["op"] == "Palette.deleteMe") dropDeadDocks();
    return;
  }
  status_->follow(entry);
}

void MainWindow::refresh() {
  refreshing_ = true;
  dropDeadDocks();
  refreshDocks();
  refreshToolbars();
  refreshMenus();
  status_->showValues(host_, runner_.loaded());
  const bool offline = host_.application().offline;
  if (wasOffline_ && !offline) {
    for (PaletteDock* const dock : docks_) dock->retry();
  }
  wasOffline_ = offline;
  refreshing_ = false;
}

void MainWindow::dropDeadDocks() {
  const auto& palettes = host_.application().userInterface->palettes->all.items();
  const auto dead = [&](PaletteDock* dock) {
    const bool alive = std::any_of(palettes.begin(), palettes.end(), [&](const auto& palette) {
      return palette.get() == &dock->object();
    });
    if (alive) return false;
    dock->disconnect(this);
    removeDockWidget(dock);
    // Later: its own page may be the caller.
    dock->deleteLater();
    return true;
  };
  docks_.erase(std::remove_if(docks_.begin(), docks_.end(), dead), docks_.end());
}

void MainWindow::refreshDocks() {
  for (const auto& palette : host_.application().userInterface->palettes->all.items()) {
    PaletteDock* shown = dock(palette->id());
    if (shown == nullptr) shown = addDock(*palette);
    place(*shown);
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
    status_->tell(tr("The page of %1 could not be shown. %2").arg(text(id), reason));
  });
  connect(dock, &QDockWidget::topLevelChanged, this, [this, dock] { userPlaced(*dock); });
  connect(dock, &QDockWidget::dockLocationChanged, this, [this, dock] { userPlaced(*dock); });
  return dock;
}

void MainWindow::place(PaletteDock& dock) {
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
  const bool upright = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
  const int size = upright ? values.width : values.height;
  // A palette that was planted has no size.
  if (size > 0) resizeDocks({&dock}, {size}, upright ? Qt::Horizontal : Qt::Vertical);
}

// The user has dragged the palette elsewhere: that is its place in the host from now on.
void MainWindow::userPlaced(PaletteDock& moved) {
  if (refreshing_) return;
  for (const auto& palette : host_.application().userInterface->palettes->all.items()) {
    const int state = moved.isFloating() ? 0 : dockingState(dockWidgetArea(&moved));
    if (palette.get() != &moved.object() || palette->dockingState == state) continue;
    const std::string number = std::to_string(state);
    // Without a refresh: the dock is still on its way.
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
    // Later: a button of its own may be the caller.
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

void MainWindow::refreshMenus() {
  const bool loaded = runner_.loaded();
  const auto& toolbars = host_.application().userInterface->toolbars->all.items();
  const bool button = std::any_of(toolbars.begin(), toolbars.end(), [](const auto& toolbar) {
    return toolbar->controls->all.find(learningButton) != nullptr;
  });
  start_->setEnabled(!loaded);
  stop_->setEnabled(loaded);
  press_->setEnabled(button);
  offline_->setChecked(host_.application().offline);
  noEntitlement_->setEnabled(host_.application().entitlement.has_value());
  for (QAction* const choice : languages_->actions()) {
    choice->setChecked(choice->data().toInt() ==
                       host_.application().preferences->general->language);
  }
  const PaletteDock* const learning = dock(learningPalette);
  showPalette_->setEnabled(learning != nullptr);
  showPalette_->setChecked(learning != nullptr && learning->object().values().visible);
  const PaletteDock* const shown = shownDock();
  dockMenu_->setEnabled(shown != nullptr);
  closePalette_->setEnabled(shown != nullptr && shown->object().values().closeButton);
  reloadPage_->setEnabled(shown != nullptr);
  developerTools_->setEnabled(shown != nullptr);
}

// The palette that the page's menu entries are about: that with the focus, else the first to be
// seen.
PaletteDock* MainWindow::shownDock() const {
  PaletteDock* first = nullptr;
  for (PaletteDock* const dock : docks_) {
    if (!dock->object().values().visible) continue;
    if (dock->isAncestorOf(QApplication::focusWidget())) return dock;
    if (first == nullptr) first = dock;
  }
  return first;
}

void MainWindow::askLanguage() {
  bool given = false;
  const int number = QInputDialog::getInt(
      this, tr("User language"), tr("The number of the host's user language; 2 is Czech:"),
      host_.application().preferences->general->language, std::numeric_limits<int>::min(),
      std::numeric_limits<int>::max(), 1, &given);
  if (given) play("language " + std::to_string(number));
}

void MainWindow::askEntitlement() {
  bool given = false;
  const QString now = text(host_.application().entitlement.value_or(""));
  const std::string answer =
      QInputDialog::getText(this, tr("Entitlement text"),
                            tr("The host's entitlement text. An open palette keeps its page; the "
                               "next start takes the new text:"),
                            QLineEdit::Normal, now, &given)
          .toStdString();
  if (given) play(Command{"entitlement " + answer, "entitlement", {answer}});
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
