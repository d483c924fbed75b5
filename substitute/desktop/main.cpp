// substitute-desktop: the substitute host with a window.
#include <QApplication>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/desktop/WindowParent.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"

namespace {

using namespace substitute;

struct DesktopOptions : CommandLine {
  std::string scenario;
  std::string screenshot;
  std::string theme;
  std::string site;
  bool quit = false;

  // Whether the window leaves by itself. Then it needs no display, and asks for nothing.
  bool ends() const { return quit || !screenshot.empty(); }
};

constexpr const char* program = "substitute-desktop";

// The options that no command of a scenario stands for, as words; a recording names them.
std::vector<std::string> optionsToRecord(const CommandLine& values) {
  std::vector<std::string> words;
  if (values.addin != besideProgram(profile().library)) words = {"--addin", values.addin};
  if (values.noAddinFolder) words.emplace_back("--no-addin-folder");
  if (values.executable) words.insert(words.end(), {"--executable", *values.executable});
  if (values.systemOpen) words.emplace_back("--system-open");
  return words;
}

// Plays `commands` when the window has been painted, then calls `done`. A library that cannot be
// loaded meanwhile ends the program.
void startPlayback(MainWindow& window, const std::vector<Command>& commands,
                   const std::function<void()>& done) {
  Playback& playback = window.playback();
  const auto fail = [](const std::string& why) {
    printError(program, why);
    QCoreApplication::exit(exit_status::cannotLoad);
  };
  const auto failure = QObject::connect(&playback, &Playback::failed, &window, fail);
  const auto finish = [done, failure] {
    QObject::disconnect(failure);
    done();
  };
  QObject::connect(&playback, &Playback::finished, &window, finish, Qt::SingleShotConnection);
  playback.add(commands);
  window.playWhenPainted();
}

// Milliseconds. The first is the time that a loaded page takes to be painted.
constexpr int paintDelay = 700;
constexpr int loadTimeout = 20000;
constexpr int pollInterval = 100;

// Returns at once. When the pages of `window` have loaded, saves a picture and quits the program.
// The exit status is not 0 when a page was still loading at last or the file could not be written.
void takeScreenshot(MainWindow& window, const std::string& file) {
  auto* const poll = new QTimer(&window);
  QObject::connect(
      poll, &QTimer::timeout, &window,
      [&window, poll, file, left = loadTimeout / pollInterval]() mutable {
        if (!window.settled() && --left > 0) return;
        poll->stop();
        const bool complete = window.settled();
        if (!complete)
          printError(program, "a page was still loading when the screenshot was taken");
        QTimer::singleShot(paintDelay, &window, [&window, file, complete] {
          const bool saved = window.picture().save(QString::fromStdString(file));
          if (!saved) printError(program, "the screenshot cannot be written to " + file);
          QCoreApplication::exit(saved && complete ? EXIT_SUCCESS : exit_status::wrongInput);
        });
      });
  poll->start(pollInterval);
}

std::string display;
bool isStarted = false;
QtMessageHandler formerHandler = nullptr;

// Drops Qt's messages about what a display would offer. Qt ends the process when it cannot open a
// window, and gives its reasons in several messages.
void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (!isStarted) {
    if (type != QtFatalMsg) return;
    printError(program, "no window can be opened on the display " + display +
                            "; substitute-host plays in the terminal");
    tellEnd({exit_status::wrongInput, ""});
    std::_Exit(exit_status::wrongInput);
  }
  for (const char* const dropped :
       {"This plugin does not support ", "WebEngineContext used before ",
        "No suitable graphics backend found", "QStandardPaths: XDG_RUNTIME_DIR not set",
        "Sandboxing disabled by user"}) {
    if (message.startsWith(QLatin1String(dropped))) return;
  }
  formerHandler(type, context, message);
}

// Starts Qt with the theme that `values` say. Where no display is needed, it draws where nobody
// sees it, if QT_QPA_PLATFORM names no other platform. Throws std::runtime_error when there is no
// display, and ends the process when it cannot be used.
std::unique_ptr<QApplication> startQt(const DesktopOptions& values) {
  static int count = 1;  // Qt gets no options
  static char* arguments[] = {const_cast<char*>(program), nullptr};
  if (values.ends() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  for (const char* const variable : {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "DISPLAY"}) {
    if (display.empty()) display = qgetenv(variable).toStdString();
  }
#ifndef Q_OS_MACOS  // where there is always one
  if (display.empty()) {
    throw std::runtime_error(
        "there is no display to open a window on; substitute-host plays in the terminal");
  }
#endif
  formerHandler = qInstallMessageHandler(handleMessage);
  auto application = std::make_unique<QApplication>(count, arguments);
  isStarted = true;
  QApplication::setApplicationName(program);
  const Theme chosen = values.theme == "dark" ? Theme::dark : Theme::light;
  apply(values.theme.empty() ? currentTheme() : chosen);
  return application;
}

// The file in which the window remembers its layout; empty where the user has no folder for it.
QString layoutFile() {
  const std::string folder = userFolder("XDG_STATE_HOME", ".local/state");
  return folder.empty() ? QString() : QString::fromStdString(folder + "/window.ini");
}

// Shows the window for `scenario` until it is closed, and keeps in the file `played` what is
// played.
ScenarioEnd show(DesktopOptions& values, const std::string& scenario, const std::string& played) {
  const bool plays = !scenario.empty();
  const std::vector<Command> commands =
      plays ? readScenario(scenario) : std::vector{parseCommand("start")};
  const auto application = startQt(values);
  HostSession session(values, scenario);
  if (values.site.empty()) values.site = besideProgram("site");
  const LearningSite site(QString::fromStdString(values.site),
                          QString::fromStdString(besideProgram("learning-site.crt")),
                          QString::fromStdString(besideProgram("learning-site.key")));
  WebEngine engine(session.host(), site, currentTheme());
  MainWindow window(session.host(), session.runner(), engine, values.addin);
  if (!values.ends()) window.useLayout(layoutFile());
  window.recording().setOptions(optionsToRecord(values));
  window.recording().keepIn(played);
  if (values.ends()) window.playback().setSpeed(Playback::Speed::atOnce);
  startPlayback(window, commands, [&] {
    if (!values.screenshot.empty()) {
      takeScreenshot(window, values.screenshot);
    } else if (values.quit) {
      QCoreApplication::exit(EXIT_SUCCESS);
    }
  });
  window.show();
  const int status = QApplication::exec();
  if (status != EXIT_SUCCESS) return {status, ""};
  const bool passed = session.conclude();
  flushOutput();
  if (!window.nextScenario().empty()) return {EXIT_SUCCESS, "", window.nextScenario()};
  const std::string notPlayed = window.playback().notPlayed();
  if (!notPlayed.empty()) printError(program, notPlayed);
  return {passed && notPlayed.empty() ? EXIT_SUCCESS : exit_status::failed, ""};
}

WindowTasks tasksFor(DesktopOptions& values) {
  WindowTasks tasks;
  tasks.show = [&values](const std::string& scenario, const std::string& played) {
    try {
      return show(values, scenario, played);
    } catch (const std::exception&) {
      return ScenarioEnd{printException(program).status, ""};
    }
  };
  if (values.ends()) return tasks;
  tasks.watchHang = [&values](const CrashRecord& record) {
    const auto application = startQt(values);
    return wantsToEnd(record);
  };
  tasks.showReport = [&values](const std::string& report, const std::string& played) {
    const auto application = startQt(values);
    return wantsToStartAgain(report, played);
  };
  return tasks;
}

}  // namespace

int main(int argc, char** argv) {
  DesktopOptions values;
  const auto takeTheme = [&values](const std::string& value) {
    values.theme = value;
    return value == "light" || value == "dark" ? "" : "'" + value + "' is not light or dark";
  };
  const Program description = {
      program,
      "Shows the add-in in a host made for it: a window with toolbar, palettes and their pages.",
      {{"--quit", "", &values.quit, "leave when the scenario has been played"},
       {"--screenshot", "FILE", &values.screenshot,
        "save a picture of the window when the scenario has been played, and leave"},
       {"--theme", "THEME", takeTheme, "light or dark; the desktop's if left out"},
       {"--site", "DIR", &values.site,
        "the folder shown as the learning site; the sample page if left out"},
       {"SCENARIO", "", &values.scenario,
        "what to play: a file or a name (first-starts); if left out, the add-in is started"}},
      ""};
  if (const auto status = readCommandLine(description, values, argc, argv)) return *status;
  try {
    Supervision how{program, values.timeout};
    how.endsPrograms = !values.systemOpen;
    return superviseWindow(tasksFor(values), how, values.scenario);
  } catch (const std::exception&) {
    return printException(program).status;
  }
}
