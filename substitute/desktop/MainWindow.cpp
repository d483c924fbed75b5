#include "substitute/desktop/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Canvas.h"
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/HostToolbar.h"
#include "substitute/desktop/Menus.h"
#include "substitute/desktop/PaletteDock.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/StatusBar.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

namespace {

QString text(const std::string& bytes) {
  return QString::fromStdString(bytes);
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
      commands_(new CommandPanel(runner)),
      trace_(new TracePanel),
      status_(new StatusBar),
      menus_(new Menus(*this, runner, *commands_, *trace_)) {
  setWindowTitle(tr("The substitute host"));
  setContextMenuPolicy(Qt::NoContextMenu);
  setAnimated(false);  // a palette has its new place when the mouse button is released
  setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
  setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
  setCentralWidget(new Canvas);
  centralWidget()->installEventFilter(this);
  // Tab goes through the parts in the order in which they are added, after the menus' own.
  refreshToolbars();
  addDockWidget(Qt::LeftDockWidgetArea, commands_);
  addDockWidget(Qt::BottomDockWidgetArea, trace_);
  setStatusBar(status_);
  connectParts();
  resize(1280, 800);
  layOut();
  setFocus();
  refresh();
}

void MainWindow::useLayout(const QString& file) {
  layoutFile_ = file;
  const QSettings settings(file, QSettings::IniFormat);
  const QSize room = screen()->availableSize();
  const QSize wanted = settings.value("size", size()).toSize();
  const bool fits = wanted.width() < room.width() && wanted.height() < room.height();
  if (!fits) setWindowState(Qt::WindowMaximized);
  resize(wanted.boundedTo(room));
  if (!restoreState(settings.value("state").toByteArray())) layOut();
}

std::string MainWindow::play(const Command& command) {
  recordMove();
  std::string why;
  try {
    runner_.play(command);
  } catch (const LoadError& error) {
    why = error.what();
    status_->tell(text(why), StatusBar::failure);
  }
  isStale_ = playback_->isPlaying() && playback_->speed() == Playback::Speed::atOnce;
  if (!isStale_) refresh();
  return why;
}

// Not parsed from a line, which could not hold every id and message.
std::string MainWindow::play(const std::string& name, const Arguments& arguments) {
  std::string line = name;
  for (const std::string& argument : arguments) line += " " + argument;
  return play(Command{line, name, arguments});
}

void MainWindow::open(const QString& scenario) {
  std::vector<Command> commands;
  try {
    commands = readScenario(scenario.toStdString());
  } catch (const std::exception& error) {
    return commands_->showMessage(text(printable(error.what())) + '.');
  }
  if (commands_->current() > 0 || playback_->hasNext()) {
    QMessageBox question(QMessageBox::NoIcon, tr("Open scenario"),
                         tr("Which host is to play the scenario? A new one replaces this one."),
                         QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, this);
    question.button(QMessageBox::Yes)->setText(tr("&New host"));
    question.button(QMessageBox::No)->setText(tr("&This host"));
    const int answer = question.exec();
    if (answer == QMessageBox::Cancel) return;
    if (answer == QMessageBox::Yes) {
      nextScenario_ = scenario.toStdString();
      close();
      return;
    }
  }
  playback_->add(commands);
  commands_->showMessage(tr("%1 is open: F10 plays its next command, F8 plays on.")
                             .arg(QFileInfo(scenario).fileName()));
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

QPixmap MainWindow::picture() {
  QPixmap picture = grab();
  QPainter painter(&picture);
  for (PaletteDock* const dock : docks_) {
    if (!dock->isFloating() || !dock->isVisible()) continue;
    painter.drawPixmap(mapFromGlobal(dock->mapToGlobal(QPoint())), dock->grab());
  }
  return picture;
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (runner_.loaded()) play("stop");
  if (!layoutFile_.isEmpty()) {
    QSettings settings(layoutFile_, QSettings::IniFormat);
    settings.setValue("size", size());
    settings.setValue("state", saveState());
  }
  QMainWindow::closeEvent(event);
}

bool MainWindow::eventFilter(QObject* object, QEvent* event) {
  if (event->type() == QEvent::MouseButtonRelease) {
    QTimer::singleShot(0, this, &MainWindow::recordMove);
  }
  if (event->type() == QEvent::Paint && std::exchange(playsWhenPainted_, false)) {
    QTimer::singleShot(0, playback_, &Playback::playOn);
  }
  return QMainWindow::eventFilter(object, event);
}

// The picture in the middle keeps a quarter of the height.
void MainWindow::resizeEvent(QResizeEvent* event) {
  centralWidget()->setMinimumHeight(height() / 4);
  QMainWindow::resizeEvent(event);
}

void MainWindow::connectParts() {
  connect(playback_, &Playback::added, commands_, &CommandPanel::addPending);
  connect(playback_, &Playback::dequeued, commands_, &CommandPanel::removeFirstPending);
  connect(playback_, &Playback::changed, this,
          [this] { isStale_ ? refresh() : menus_->refresh(); });
  connect(commands_, &CommandPanel::commandTyped, this,
          [this](const Command& command) { play(command); });
  connect(trace_, &TracePanel::commandRequested, commands_, &CommandPanel::select);
  connect(trace_, &TracePanel::reported, commands_, &CommandPanel::showMessage);
  auto& palettes = host_.application().userInterface->palettes->all;
  subscriptions_ = {
      host_.interceptor().trace.subscribe([this](const Json& entry) { onTraceEntry(entry); }),
      palettes.changing.subscribe([this](const std::string& id) { changedPalettes_.insert(id); }),
      runner_.playing.subscribe([this](const Command& /*command*/) { status_->clear(); }),
      runner_.failed.subscribe([this](const std::string& sentence) {
        status_->tell(tr("An expectation failed: %1").arg(text(printable(sentence))),
                      StatusBar::failure);
      })};
}

// The trace takes two fifths of the height.
void MainWindow::layOut() {
  resizeDocks({trace_}, {height() * 2 / 5}, Qt::Vertical);
  resizeDocks({commands_}, {std::min(300, width() / 4)}, Qt::Horizontal);
}

// Runs during a call of the add-in, so it must not call the host.
void MainWindow::onTraceEntry(const Json& entry) {
  trace_->append(entry, commands_->current());
  status_->tellOf(entry);
  // By the end of the call, another palette may have the address of the deleted one.
  if (entry.value("op", "") == "Palette.deleteMe") removeStaleDocks();
}

void MainWindow::refresh() {
  refreshing_ = true;
  isStale_ = false;
  removeStaleDocks();
  refreshDocks();
  refreshToolbars();
  menus_->refresh();
  commands_->follow();
  status_->showValues(host_);
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
    if (moved_ == dock) moved_.clear();
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
    if (shown != moved_) placeDock(*shown);
    shown->refresh();
    // Another one may be in front of it, as a tab.
    if (changedPalettes_.count(palette->id()) > 0 && palette->values().visible) shown->raise();
  }
  changedPalettes_.clear();
}

PaletteDock* MainWindow::addDock(const PaletteObject& object) {
  auto* const dock = new PaletteDock(object, engine_, this);
  dock->hide();
  docks_.push_back(dock);
  const std::string& id = object.id();
  connect(dock, &PaletteDock::closeRequested, this,
          [this, id] { play("close", id == learningPalette ? Arguments() : Arguments{id}); });
  connect(dock, &PaletteDock::messageSent, this, [this, id](const QString& sent) {
    const std::string bytes = sent.toStdString();
    if (id == learningPalette) {
      play("message", {bytes});
    } else {
      play("message-to", {id, bytes});
    }
  });
  connect(dock, &PaletteDock::pageFailed, this, [this, id](const QString& reason) {
    status_->tell(tr("The page of %1 could not be shown. %2").arg(text(id), reason),
                  StatusBar::failure);
  });
  // The user has dragged it elsewhere, or is dragging it.
  const auto onMoved = [this, dock] {
    if (refreshing_) return;
    moved_ = dock;
    QTimer::singleShot(0, this, &MainWindow::recordMove);
  };
  connect(dock, &QDockWidget::topLevelChanged, this, onMoved);
  connect(dock, &QDockWidget::dockLocationChanged, this, onMoved);
  dock->installEventFilter(this);
  return dock;
}

void MainWindow::placeDock(PaletteDock& dock) {
  const Qt::DockWidgetArea area = dockArea(dock.object().dockingState);
  const bool added = dockWidgetArea(&dock) != Qt::NoDockWidgetArea;
  if (area == Qt::NoDockWidgetArea) {
    if (!added) addDockWidget(Qt::RightDockWidgetArea, &dock);
    if (!dock.isFloating()) dock.floatOverCanvas();
  } else if (!added || dock.isFloating() || dockWidgetArea(&dock) != area) {
    dock.setFloating(false);
    dockAt(area, dock);
  }
}

// Palettes on one side share it evenly. Those that do not fit are tabs.
void MainWindow::dockAt(Qt::DockWidgetArea area, PaletteDock& dock) {
  constexpr int leastExtent = 200;
  const bool atSide = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
  QList<QDockWidget*> there;
  for (PaletteDock* const other : docks_) {
    const bool isThere = other != &dock && !other->isFloating() && !other->isHidden();
    if (isThere && dockWidgetArea(other) == area) there << other;
  }
  addDockWidget(area, &dock);
  if ((there.size() + 1) * leastExtent > (atSide ? height() : width())) {
    tabifyDockWidget(there.last(), &dock);
  }
  dock.show();
  there << &dock;
  resizeDocks(there, QList<int>(there.size(), leastExtent), atSide ? Qt::Vertical : Qt::Horizontal);
  const PaletteValues& values = dock.object().values();
  const int size =
      std::min(atSide ? values.width : values.height, (atSide ? width() : height()) / 2);
  // A planted palette has no size.
  if (size > 0) resizeDocks({&dock}, {size}, atSide ? Qt::Horizontal : Qt::Vertical);
}

// The docking state in the host follows. A drag is one move, which ends with the mouse button.
void MainWindow::recordMove() {
  if (!moved_ || QGuiApplication::mouseButtons() != Qt::NoButton) return;
  PaletteDock& dock = *std::exchange(moved_, nullptr);
  const std::string id = dock.object().id();
  int state = dock.isFloating() ? 0 : 4;
  while (state > 0 && dockArea(state) != dockWidgetArea(&dock)) --state;
  if (dock.object().dockingState == state) return;
  if (state == 0) dock.floatAtPointer();
  play("dock", {id, std::to_string(state)});
}

void MainWindow::refreshToolbars() {
  const Json state = host_.state();
  const Json now = {state["toolbars"], state["definitions"]};
  if (now == toolbarsShown_) return;
  toolbarsShown_ = now;
  for (QToolBar* const toolbar : toolbars_) {
    removeToolBar(toolbar);
    // Not deleted here: one of its buttons may be the caller.
    toolbar->deleteLater();
  }
  toolbars_.clear();
  const UserInterfaceObject& ui = *host_.application().userInterface;
  for (const auto& toolbar : ui.toolbars->all.items()) {
    QToolBar* const shown = hostToolbar(*toolbar, *ui.definitions, addinFolder_);
    connect(shown, &QToolBar::actionTriggered, this, [this](const QAction* control) {
      const QString id = control->data().toString();
      if (id == helpControl) return showHelp();
      play("click", {id.toStdString()});
    });
    addToolBar(Qt::TopToolBarArea, shown);
    shown->show();
    toolbars_.push_back(shown);
  }
}

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
  QMessageBox::about(
      this, windowTitle(),
      tr("<p>This window stands in for the host that the add-in is made for. It loads the add-in's "
         "library, gives it the host's objects and shows them: the toolbar, the palettes and their "
         "pages.</p>"));
}

}  // namespace substitute
