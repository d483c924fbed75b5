// substitute-desktop: the substitute host with a window.
#include <CLI/CLI.hpp>
#include <QApplication>
#include <cstdlib>
#include <functional>
#include <memory>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/PlatformPlugin.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/Screenshot.h"
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

// Milliseconds between two commands of a scenario, so that a user can see what each one does.
constexpr int playbackInterval = 1200;

struct DesktopOptions : CommandLine {
  std::string scenario;
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

// Plays `commands`, or standard input if `input`, then calls `done`. A failure quits the program.
void startPlayback(MainWindow& window, const std::vector<Command>& commands, bool input,
                   const std::function<void()>& done) {
  Playback& playback = window.playback();
  auto failure = std::make_shared<QMetaObject::Connection>();
  *failure = QObject::connect(&playback, &Playback::failed, &window, [&window] {
    printError(program, window.message().toStdString());
    QCoreApplication::exit(exit_status::cannotLoad);
  });
  const auto finish = [done, failure](const std::string& error) {
    QObject::disconnect(*failure);  // later failures do not quit the program
    if (error.empty()) return done();
    printError(program, error);
    QCoreApplication::exit(exit_status::wrongInput);
  };
  QObject::connect(&playback, &Playback::finished, &window, finish, Qt::SingleShotConnection);
  playback.add(commands);
  if (input) playback.readInput();
  playback.playOn();
}

// The commands to play first; none when `scenario` is "-". Throws what readScenario() throws, and
// std::runtime_error when standard input cannot be read.
std::vector<Command> initialCommands(const std::string& scenario) {
  if (scenario.empty()) return {parseCommand("start")};
  if (scenario != "-") return readScenario(scenario);
  return {};
}

// `option` is the value of --theme. Needs a QApplication.
Theme chosenTheme(const std::string& option) {
  if (option.empty()) return systemTheme();
  return option == "dark" ? Theme::dark : Theme::light;
}

int show(DesktopOptions& values, int& argc, char** argv) {
  const bool plays = !values.scenario.empty();
  const bool readsInput = values.scenario == "-";
  const bool ends = values.quit || !values.screenshot.empty();
  const std::vector<Command> commands = initialCommands(values.scenario);
  choosePlatformPlugin(ends, argc, argv);
  if (qgetenv("QT_QPA_PLATFORM") == "offscreen") filterPlatformMessages();
  QApplication application(argc, argv);
  QApplication::setApplicationName(program);
  checkScreenshot(values.screenshot);

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
  window.show();
  window.recording().setOptions(optionsToRecord(values));
  window.playback().setInterval(ends ? 0 : playbackInterval);
  startPlayback(window, commands, readsInput, [&] {
    if (!values.screenshot.empty()) {
      takeScreenshot(window, values.screenshot, program);
    } else if (values.quit) {
      QCoreApplication::exit(EXIT_SUCCESS);
    }
  });
  const int status = QApplication::exec();
  if (status != EXIT_SUCCESS) return status;
  return session.conclude() ? EXIT_SUCCESS : exit_status::failed;
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
      .add_option("SCENARIO", values.scenario,
                  "what to play: a file, a name (first-starts), or - for standard input; if left "
                  "out, the add-in is started")
      ->option_text(" ")
      ->check(checkNotEmpty);
  if (const auto status = readCommandLine(parser, values, argc, argv)) return *status;
  try {
    int count = 1;  // Qt gets no options
    return show(values, count, argv);
  } catch (const std::exception&) {
    return printException(program);
  }
}
