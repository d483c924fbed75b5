// substitute-desktop: the substitute host with a window.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <QApplication>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/PlatformPlugin.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"
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
  std::string nextScenario;
  std::string screenshot;
  std::string theme;
  std::string site;
  bool quit = false;
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

// Shows the window until it is closed. Returns the exit status, and in `values` the scenario that a
// new host is to play.
int show(DesktopOptions& values, int& argc, char** argv) {
  const bool plays = !values.scenario.empty();
  const bool ends = values.quit || !values.screenshot.empty();
  const std::vector<Command> commands =
      plays ? readScenario(values.scenario) : std::vector{parseCommand("start")};
  const auto application = startQt(!ends, program, argc, argv);
  QApplication::setApplicationName(program);

  HostSession session(values, program,
                      plays ? std::vector{values.scenario} : std::vector<std::string>());

  const Theme theme = chosenTheme(values.theme);
  apply(theme);
  if (values.site.empty()) values.site = besideProgram("site");
  const LearningSite site(QString::fromStdString(values.site),
                          QString::fromStdString(besideProgram("learning-site.crt")),
                          QString::fromStdString(besideProgram("learning-site.key")));
  WebEngine engine(session.host(), site, theme);
  MainWindow window(session.host(), session.runner(), engine, values.addin);
  // A scenario that ends the program is played without an additional `stop`.
  window.setStopsAtEnd(!ends);
  if (!ends) window.useLayout(layoutFile());
  window.recording().setOptions(optionsToRecord(values));
  if (ends) window.playback().setSpeed(Playback::Speed::atOnce);
  startPlayback(window, commands, [&] {
    if (!values.screenshot.empty()) {
      takeScreenshot(window, values.screenshot);
    } else if (values.quit) {
      QCoreApplication::exit(EXIT_SUCCESS);
    }
  });
  window.show();
  const int status = QApplication::exec();
  if (status != EXIT_SUCCESS) return status;
  const bool passed = session.conclude();
  values.nextScenario = window.nextScenario();
  const std::string notPlayed = window.playback().notPlayed();
  if (notPlayed.empty() || !values.nextScenario.empty()) {
    return passed ? EXIT_SUCCESS : exit_status::failed;
  }
  printError(program, notPlayed);
  return exit_status::failed;
}

// Replaces this process by one that plays `scenario` with the same options.
void restart(const CLI::App& parser, const std::string& scenario) {
  std::vector<std::string> words = {program};
  for (const CLI::Option* const option : parser.get_options()) {
    const std::string name = option->get_name();
    if (name.rfind("--", 0) != 0) continue;
    for (const std::string& value : option->results()) {
      words.push_back(option->get_expected_max() > 0 ? name + "=" + value : name);
    }
  }
  words.insert(words.end(), {"--", scenario});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(besideProgram(program).c_str(), arguments.data());
  throw std::runtime_error("the program cannot be started again");
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
    int count = 1;  // Qt gets no options
    const int status = show(values, count, argv);
    if (!values.nextScenario.empty()) restart(parser, values.nextScenario);
    return status;
  } catch (const std::exception&) {
    return printException(program);
  }
}
