// substitute-desktop: the substitute host as a window.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QImageWriter>
#include <QStatusBar>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Files.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/UsageError.h"

namespace {

using namespace substitute;

// So long each step of a scenario stands, where somebody looks on.
constexpr int stepPause = 1200;
// A page that has loaded is on screen within this time.
constexpr int paintTime = 700;
constexpr int longestWait = 20000;

struct DesktopLine : CommandLine {
  std::string scenario;
  std::string screenshot;
  std::string theme;
  std::string site;
  bool quit = false;
  std::vector<std::string> arguments;  // as typed, the program's name included
};

constexpr const char* program = "substitute-desktop";

std::string refuseNoTheme(const std::string& value) {
  return value == "light" || value == "dark" ? "" : "'" + value + "' is not light or dark";
}

// Whether Qt finds a screen. It ends the process where it does not, so a child of this one tries.
bool screenOpens(int argc, char** argv) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(EXIT_FAILURE);
    const QGuiApplication probe(argc, argv);
    _exit(EXIT_SUCCESS);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

// Finds something to draw on; a picture needs no screen. Throws std::runtime_error otherwise.
void findScreen(bool forPictureOnly, int argc, char** argv) {
#ifdef Q_OS_MACOS
  return;  // there is always one
#endif
  std::string named;
  for (const char* const variable : {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "DISPLAY"}) {
    if (named.empty()) named = qgetenv(variable).toStdString();
  }
  if (!named.empty() && screenOpens(argc, argv)) return;
  if (forPictureOnly && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return;
  }
  throw std::runtime_error((named.empty() ? "there is no display to open a window on"
                                          : "no window can be opened on the display " + named) +
                           "; substitute-host plays in the terminal");
}

// Without a screen, what Qt's platform plugin and the web engine lack is no news to anybody.
void dropWordsAboutTheScreen() {
  static QtMessageHandler others = nullptr;
  others = qInstallMessageHandler(
      [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
        for (const char* const known :
             {"This plugin does not support ", "WebEngineContext used before ",
              "No suitable graphics backend found", "QStandardPaths: XDG_RUNTIME_DIR not set",
              "Sandboxing disabled by user"}) {
          if (text.startsWith(QLatin1String(known))) return;
        }
        others(type, context, text);
      });
}

// The options that a scenario cannot bring about, as words, for who plays it again.
std::vector<std::string> lastingOptions(const CommandLine& values) {
  std::vector<std::string> words;
  if (values.addin != besideProgram(libraryName)) words = {"--addin", values.addin};
  if (values.noAddinFolder) words.emplace_back("--no-addin-folder");
  if (values.executable) words.insert(words.end(), {"--executable", *values.executable});
  if (values.systemOpen) words.emplace_back("--system-open");
  return words;
}

// Plays `commands`, or standard input, then calls `done`. What cannot be played ends the program.
void startPlayback(MainWindow& window, const std::vector<Command>& commands, bool input,
                   const std::function<void()>& done) {
  Playback& playback = window.playback();
  auto failure = std::make_shared<QMetaObject::Connection>();
  *failure = QObject::connect(&playback, &Playback::failed, &window, [&window] {
    printError(program, window.statusBar()->currentMessage().toStdString());
    QCoreApplication::exit(exit_status::cannotLoad);
  });
  const auto finish = [done, failure](const std::string& error) {
    QObject::disconnect(*failure);  // what the user opens later may fail
    if (error.empty()) return done();
    // What was played before a wrong line stays.
    printError(program, error);
    QCoreApplication::exit(exit_status::wrongInput);
  };
  QObject::connect(&playback, &Playback::finished, &window, finish, Qt::SingleShotConnection);
  playback.add(commands);
  if (input) playback.readInput();
  playback.playOn();
}

// Throws UsageError when no picture can be saved under that name.
void checkScreenshot(const std::string& file) {
  if (file.empty()) return;
  const QFileInfo picture(QString::fromStdString(file));
  const QByteArray format = picture.suffix().toLower().toLatin1();
  const QList<QByteArray> formats = QImageWriter::supportedImageFormats();
  if (!formats.contains(format)) {
    std::vector<std::string> names;
    for (const QByteArray& name : formats) names.push_back(name.toStdString());
    throw UsageError("no screenshot can be saved as " + file + "; the formats are " +
                     listed(names));
  }
  if (!picture.absoluteDir().exists()) {
    throw UsageError("there is no folder for the screenshot " + file);
  }
  if (picture.isDir()) throw UsageError("the screenshot " + file + " is a folder");
}

// Waits for the pages, then saves a picture of the window and ends the program.
void takeScreenshot(MainWindow& window, const QString& file) {
  auto* const watch = new QTimer(&window);
  auto left = std::make_shared<int>(longestWait / 100);
  QObject::connect(watch, &QTimer::timeout, &window, [&window, watch, left, file] {
    if (!window.settled() && --*left > 0) return;
    watch->stop();
    const bool complete = window.settled();
    if (!complete) printError(program, "a page was still loading when the screenshot was taken");
    QTimer::singleShot(paintTime, &window, [&window, file, complete] {
      const bool saved = window.grab().save(file);
      if (!saved) printError(program, "the screenshot cannot be written to " + file.toStdString());
      QCoreApplication::exit(saved && complete ? EXIT_SUCCESS : exit_status::wrongInput);
    });
  });
  watch->start(100);
}

int show(DesktopLine& values, int& argc, char** argv) {
  const bool plays = !values.scenario.empty();
  const bool readsInput = values.scenario == "-";
  const bool ends = values.quit || !values.screenshot.empty();
  std::vector<Command> commands;
  if (!plays) {
    commands = {parseCommand("start")};
  } else if (readsInput) {
    checkInput();
  } else {
    commands = readScenario(values.scenario);
  }
  findScreen(ends, argc, argv);
  if (qgetenv("QT_QPA_PLATFORM") == "offscreen") dropWordsAboutTheScreen();
  QApplication application(argc, argv);
  QApplication::setApplicationName(program);
  checkScreenshot(values.screenshot);

  HostSession session(values, program,
                      plays ? std::vector{values.scenario} : std::vector<std::string>(),
                      values.arguments);

  const Theme theme = values.theme.empty()     ? systemTheme()
                      : values.theme == "dark" ? Theme::dark
                                               : Theme::light;
  apply(theme);
  if (values.site.empty()) values.site = besideProgram("site");
  const LearningSite site(QString::fromStdString(values.site),
                          QString::fromStdString(besideProgram("learning-site.crt")),
                          QString::fromStdString(besideProgram("learning-site.key")));
  WebEngine engine(session.host(), site, theme);
  MainWindow window(session.host(), session.runner(), engine, values.addin);
  // What is played is played to its end and no further.
  window.setStopsAtEnd(!ends);
  window.show();
  window.recording().setOptions(lastingOptions(values));
  window.playback().setPause(ends ? 0 : stepPause);
  startPlayback(window, commands, readsInput, [&] {
    if (!values.screenshot.empty()) {
      takeScreenshot(window, QString::fromStdString(values.screenshot));
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
  DesktopLine values;
  values.arguments.assign(argv, argv + argc);
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
      ->check(refuseEmpty);
  parser.add_option("--theme", values.theme, "light or dark; the desktop's if left out")
      ->type_name("THEME")
      ->check(refuseNoTheme);
  parser
      .add_option("--site", values.site,
                  "the folder shown as the learning site; the sample page if left out")
      ->type_name("DIR")
      ->check(refuseEmpty);
  parser
      .add_option("SCENARIO", values.scenario,
                  "what to play: a file, a name (first-starts), or - for standard input; if left "
                  "out, the add-in is started")
      ->option_text(" ")
      ->check(refuseEmpty);
  if (const auto status = readCommandLine(parser, values, argc, argv)) return *status;
  try {
    int count = 1;  // the options are read; none is Qt's
    return show(values, count, argv);
  } catch (const std::exception&) {
    return printException(program);
  }
}
