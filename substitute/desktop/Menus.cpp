#include "substitute/desktop/Menus.h"

#include <QActionGroup>
#include <QFileDialog>
#include <QInputDialog>
#include <QMenuBar>
#include <QToolButton>
#include <algorithm>
#include <sstream>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/HostToolbar.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/PaletteDock.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/desktop/Widgets.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

namespace {

constexpr const char* filter = "Scenarios (*.txt);;All files (*)";

bool hasLearningButton(const Host& host) {
  const auto& toolbars = host.application().userInterface->toolbars->all.items();
  return std::any_of(toolbars.begin(), toolbars.end(), [](const auto& toolbar) {
    return toolbar->controls->all.find(learningButton) != nullptr;
  });
}

}  // namespace

Menus::Menus(MainWindow& window, ScenarioRunner& runner, CommandPanel& commands, TracePanel& trace)
    : QObject(&window), window_(window), runner_(runner), commands_(commands) {
  QMenuBar& bar = *window.menuBar();
  fillAddInMenu(*bar.addMenu(tr("&Add-in")));
  fillScenarioMenu(*bar.addMenu(tr("&Scenario")));
  fillHostMenu(*bar.addMenu(tr("&Host")));
  fillViewMenu(*bar.addMenu(tr("&View")), trace);
  bar.addMenu(tr("&Trace"))->addActions(trace.actions());
  bar.findChild<QWidget*>("qt_menubar_ext_button")->setAccessibleName(tr("More menus"));
  addToolbar();
}

void Menus::refresh() {
  const ApplicationObject& host = runner_.host().application();
  const Playback& playback = window_.playback();
  const PaletteDock* const learning = window_.dock(learningPalette);
  const PaletteDock* const current = window_.currentDock();
  const std::pair<const char*, bool> possible[] = {
      {"start", !runner_.loaded()},
      {"stop", runner_.loaded()},
      {"press", hasLearningButton(runner_.host())},
      {"nextCommand", playback.hasNext()},
      {"playOn", playback.hasNext()},
      {"showPalette", learning != nullptr},
      {"closePalette", current != nullptr && current->object().values().closeButton},
      {"reloadPage", current != nullptr},
      {"developerTools", current != nullptr},
  };
  for (const auto& [name, value] : possible) entry(name).setEnabled(value);
  const int language = host.preferences->general->language;
  const std::pair<const char*, bool> checked[] = {
      {"offline", host.offline},
      {"language:2", language == 2},
      {"language:3", language == 3},
      {"showPalette", learning != nullptr && learning->object().values().visible},
  };
  for (const auto& [name, value] : checked) entry(name).setChecked(value);
  entry("playOn").setText(playback.isPlaying() ? tr("&Pause") : tr("&Play"));
}

QAction* Menus::add(QMenu& menu, const char* name, const QString& text,
                    const QKeySequence& shortcut, const std::function<void()>& done) {
  QAction* const entry = menu.addAction(text, shortcut, this, done);
  entry->setObjectName(name);
  return entry;
}

// What plays the command `line`.
std::function<void()> Menus::playing(const char* line) {
  return [this, line] { window_.play(line); };
}

void Menus::fillAddInMenu(QMenu& menu) {
  add(menu, "start", tr("&Start"), Qt::Key_F9, playing("start"));
  add(menu, "stop", tr("S&top"), Qt::SHIFT | Qt::Key_F9, playing("stop"));
  add(menu, "again", tr("Start &again as on another day"), Qt::CTRL | Qt::Key_F9,
      [this] { startAgain(false); });
  add(menu, "newUser", tr("Start as a new &user"), {}, [this] { startAgain(true); });
  add(menu, "press", tr("Press the &button"), Qt::CTRL | Qt::Key_B, playing("click"));
  menu.addSeparator();
  add(menu, "quit", tr("&Quit"), Qt::CTRL | Qt::Key_Q, [this] { window_.close(); });
}

void Menus::fillScenarioMenu(QMenu& menu) {
  add(menu, "openScenario", tr("&Open scenario…"), QKeySequence::Open, [this] { askWhatToOpen(); });
  QMenu& shipped = *menu.addMenu(tr("Sc&enarios of the host"));
  for (const std::string& name : scenarioNames()) {
    const QString word = QString::fromStdString(name);
    add(shipped, ("scenario:" + name).c_str(), word, {}, [this, word] { window_.open(word); });
  }
  add(menu, "saveScenario", tr("&Save as scenario…"), QKeySequence::Save,
      [this] { askWhereToSave(false); });
  add(menu, "saveExpecting", tr("Save &with expectations…"), {}, [this] { askWhereToSave(true); });
  menu.addSeparator();
  Playback& playback = window_.playback();
  add(menu, "nextCommand", tr("&Next command"), Qt::Key_F10, [&playback] {
    playback.playNext();
  })->setIconText(tr("Next"));
  add(menu, "playOn", tr("&Play"), Qt::Key_F8,
      [&playback] { playback.isPlaying() ? playback.pause() : playback.playOn(); });
  speeds_ = menu.addMenu(tr("S&peed"));
  auto* const choices = new QActionGroup(this);
  const std::tuple<Playback::Speed, const char*, QString> speeds[] = {
      {Playback::Speed::second, "speed:second", tr("A &second a command")},
      {Playback::Speed::noPause, "speed:noPause", tr("&No pause")},
      {Playback::Speed::atOnce, "speed:atOnce", tr("&To the end at once")}};
  for (const auto& [speed, name, text] : speeds) {
    const auto choose = [this, &playback, value = speed, text = text] {
      playback.setSpeed(value);
      speeds_->menuAction()->setIconText(QString(text).remove('&'));
    };
    QAction* const choice = choices->addAction(add(*speeds_, name, text, {}, choose));
    choice->setCheckable(true);
    if (speed == playback.speed()) choice->trigger();
  }
}

void Menus::fillHostMenu(QMenu& menu) {
  add(menu, "offline", tr("&Offline"), Qt::CTRL | Qt::SHIFT | Qt::Key_O, [this] {
    window_.play(runner_.host().application().offline ? "online" : "offline");
  })->setCheckable(true);
  QMenu& languages = *menu.addMenu(tr("User &language"));
  add(languages, "language:2", tr("&Czech (2)"), {}, playing("language 2"))->setCheckable(true);
  add(languages, "language:3", tr("&Another (3)"), {}, playing("language 3"))->setCheckable(true);
  add(menu, "askEntitlement", tr("&Entitlement text…"), {}, [this] { askEntitlement(); });
}

void Menus::fillViewMenu(QMenu& menu, TracePanel& trace) {
  add(menu, "showPalette", tr("&Learning palette"), Qt::CTRL | Qt::SHIFT | Qt::Key_P, [this] {
    window_.play(entry("showPalette").isChecked() ? "show" : "hide");
  })->setCheckable(true);
  menu.addActions({commands_.toggleViewAction(), trace.toggleViewAction()});
  commands_.toggleViewAction()->setText(tr("&Commands"));
  trace.toggleViewAction()->setText(tr("&Trace"));
  add(menu, "commandLine", tr("Command &line"), Qt::CTRL | Qt::Key_L,
      [this] { commands_.focusCommandLine(); });
  menu.addSeparator();
  const auto onCurrentDock = [this](void (PaletteDock::*done)()) {
    return [this, done] {
      if (PaletteDock* const dock = window_.currentDock()) (dock->*done)();
    };
  };
  add(menu, "closePalette", tr("Close p&alette"), Qt::CTRL | Qt::Key_W,
      onCurrentDock(&PaletteDock::closeRequested));
  add(menu, "reloadPage", tr("&Reload page"), Qt::Key_F5, onCurrentDock(&PaletteDock::reload));
  add(menu, "developerTools", tr("&Developer tools"), Qt::Key_F12,
      onCurrentDock(&PaletteDock::openDeveloperTools));
  menu.addSeparator();
  new Accessibility(window_, menu);
}

void Menus::addToolbar() {
  QToolBar* const toolbar = window_.addToolBar(tr("Controls"));
  toolbar->setObjectName("controls");
  toolbar->setMovable(false);
  for (const char* const name : {"start", "stop", "offline", "nextCommand", "playOn"}) {
    toolbar->addAction(&entry(name));
  }
  toolbar->addAction(speeds_->menuAction());
  for (QAction* const action : toolbar->actions()) {
    auto* const button = qobject_cast<QToolButton*>(toolbar->widgetForAction(action));
    button->setObjectName("control:" + action->objectName());
    button->setPopupMode(QToolButton::InstantPopup);
  }
  completeToolbar(*toolbar);
}

void Menus::startAgain(bool asNewUser) {
  if (runner_.loaded()) window_.play("stop");
  if (asNewUser) window_.play("reset");
  window_.play("start");
}

void Menus::askEntitlement() {
  bool confirmed = false;
  const auto& now = runner_.host().application().entitlement;
  const QString answer = QInputDialog::getText(
      &window_, tr("Entitlement text"),
      tr("The host's entitlement text. An open palette keeps its page; the "
         "next start takes the new text:"),
      QLineEdit::Normal, QString::fromStdString(now.value_or("")), &confirmed);
  if (confirmed) window_.play("entitlement " + answer.toStdString());
}

void Menus::askWhatToOpen() {
  const QString path = QFileDialog::getOpenFileName(&window_, tr("Open scenario"), {}, tr(filter));
  if (!path.isEmpty()) window_.open(path);
}

void Menus::askWhereToSave(bool withExpectations) {
  const QString path =
      QFileDialog::getSaveFileName(&window_, tr("Save as scenario"), "scenario.txt", tr(filter));
  if (path.isEmpty()) return;
  std::ostringstream scenario;
  const Recording& recording = window_.recording();
  recording.write(scenario, withExpectations);
  QString note;
  if (const auto omissions = static_cast<long>(recording.omissions())) {
    note = tr("; comments name what no line can hold, in %1")
               .arg(QString::fromStdString(plural(omissions, "place")));
  }
  const QByteArray bytes = QByteArray::fromStdString(scenario.str());
  commands_.showMessage(saveFile(tr("The scenario"), path, bytes, note));
}

QAction& Menus::entry(const char* name) const {
  return *window_.menuBar()->findChild<QAction*>(name);
}

}  // namespace substitute
