// substitute-desktop: the substitute host with a window.
#include <CLI/CLI.hpp>
#include <QApplication>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <memory>

#include "substitute/desktop/CrashDialogs.h"
#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/PlatformPlugin.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/desktop/WindowParent.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Program.h"
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

std::string checkTheme(const std::string& value) {
  return value == "light" || value == "dark" ? "" : "'" + value + "' is not light or dark";
}

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
  const auto failure = QObject::connect(&playback, &Playback::failed, &window, [&window] {
    printError(program, window.message().toStdString());
    QCoreApplication::exit(exit_status::cannotLoad);
  });
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

// `option` is the value of --theme. Needs a QApplication.
Theme chosenTheme(const std::string& option) {
  if (option.empty()) return systemTheme();
  return option == "dark" ? Theme::dark : Theme::light;
}

// The file in which the window remembers its layout; empty where the user has no folder for it.
QString layoutFile() {
  const std::string folder = userFolder("XDG_STATE_HOME", ".local/state");
  return folder.empty() ? QString() : QString::fromStdString(folder + "/window.ini");
}

// Shows the window for `scenario` until it is closed, and keeps in the file `played` what is
// played. `argv` is that of main().
ScenarioEnd show(DesktopOptions& values, const std::string& scenario, const std::string& played,
                 char** argv) {
  const bool plays = !scenario.empty();
  const std::vector<Command> commands =
      plays ? readScenario(scenario) : std::vector{parseCommand("start")};
  int count = 1;  // Qt gets no options
  const auto application = startQt(!values.ends(), program, count, argv);
  QApplication::setApplicationName(program);

  HostSession session(values, program, plays ? std::vector{scenario} : std::vector<std::string>());

  const Theme theme = chosenTheme(values.theme);
  apply(theme);
  if (values.site.empty()) values.site = besideProgram("site");
  const LearningSite site(QString::fromStdString(values.site),
                          QString::fromStdString(besideProgram("learning-site.crt")),
                          QString::fromStdString(besideProgram("learning-site.key")));
  WebEngine engine(session.host(), site, theme);
  MainWindow window(session.host(), session.runner(), engine, values.addin);
  // A scenario that ends the program is played without an additional `stop`.
  window.setStopsAtEnd(!values.ends());
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

// Shows windows until the last one is closed. Returns the exit status.
int superviseWindow(DesktopOptions& values, char** argv) {
  WindowTasks tasks;
  tasks.show = [&values, argv](const std::string& scenario, const std::string& played) {
    try {
      return show(values, scenario, played, argv);
    } catch (const std::exception&) {
      return ScenarioEnd{printException(program), ""};
    }
  };
  const auto accepts = [&values, argv](const auto& makeDialog) {
    int count = 1;
    const auto application = startQt(true, program, count, argv);
    apply(chosenTheme(values.theme));
    return makeDialog()->exec() == QDialog::Accepted;
  };
  if (!values.ends()) {
    tasks.watchHang = [accepts](const CrashRecord& record) {
      return accepts([&] { return std::make_unique<HangDialog>(record); });
    };
    tasks.showReport = [accepts](const std::string& report, const std::string& played) {
      return accepts([&] {
        return std::make_unique<ReportDialog>(QString::fromStdString(report),
                                              QString::fromStdString(played));
      });
    };
  }
  return superviseWindow(tasks, program, values.timeout, values.scenario);
}

}  // namespace

int main(int argc, char** argv) {
  DesktopOptions values;
  CLI::App parser(
      "Shows the add-in in a host made for it: a window with toolbar, palettes and their pages.",
      program);
  parser.set_version_flag("--version", "substitute-desktop " VELORIN_VERSION);
  addOptions(parser, values);
  parser.add_flag("--quit", values.quit, "leave when the scenario has been played");
  parser
      .add_option("--screenshot", values.screenshot,
                  "save a picture of the window when the scenario has been played, and leave")
      ->type_name("FILE")
      ->check(checkNotEmpty);
  parser.add_option("--theme", values.theme, "light or dark; the desktop's if left out")
      ->type_name("THEME")
      ->check(checkTheme);
  parser
      .add_option("--site", values.site,
                  "the folder shown as the learning site; the sample page if left out")
      ->type_name("DIR")
      ->check(checkNotEmpty);
  parser
      .add_option(
          "SCENARIO", values.scenario,
          "what to play: a file or a name (first-starts); if left out, the add-in is started")
      ->option_text(" ")
      ->check(checkNotEmpty);
  if (const auto status = readCommandLine(parser, values, argc, argv)) return *status;
  try {
    return superviseWindow(values, argv);
  } catch (const std::exception&) {
    return printException(program);
  }
}
