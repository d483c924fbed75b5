// substitute-desktop: the substitute host as a window.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QStatusBar>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Files.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/ScenarioRunner.h"

namespace {

using namespace substitute;

// So long each step of a scenario stands, where somebody looks on.
constexpr int stepPause = 1200;
// A page that has loaded is on screen within this time.
constexpr int paintTime = 700;
constexpr int longestWait = 20000;

struct DesktopLine : CommandLine {
  std::string screenshot;
  std::string theme;
  std::string site;
  bool quit = false;
};

void complain(const std::string& sentence) {
  std::cerr << "substitute-desktop: " << sentence << (sentence.back() == '.' ? "\n" : ".\n");
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

// Plays the commands one after the other, then calls `done`.
class Playing : public QObject {
 public:
  Playing(MainWindow& window, std::vector<Command> commands, int pause, std::function<void()> done)
      : window_(window), commands_(std::move(commands)), done_(std::move(done)) {
    timer_.setSingleShot(true);
    timer_.setInterval(pause);
    connect(&timer_, &QTimer::timeout, this, [this] { step(); });
    QTimer::singleShot(0, this, [this] { step(); });
  }

 private:
  void step() {
    // A comment takes no time.
    while (next_ < commands_.size() && commands_[next_].name.empty())
      window_.play(commands_[next_++]);
    if (next_ == commands_.size()) return done_();
    if (!window_.play(commands_[next_++])) {
      complain(window_.statusBar()->currentMessage().toStdString());
      return QCoreApplication::exit(exit_status::cannotLoad);
    }
    timer_.start();
  }

  MainWindow& window_;
  std::vector<Command> commands_;
  std::size_t next_ = 0;
  std::function<void()> done_;
  QTimer timer_;
};

// Waits for the pages, then saves a picture of the window and ends the program.
void takeScreenshot(MainWindow& window, const QString& file) {
  auto* const watch = new QTimer(&window);
  auto left = std::make_shared<int>(longestWait / 100);
  QObject::connect(watch, &QTimer::timeout, &window, [&window, watch, left, file] {
    if (!window.settled() && --*left > 0) return;
    watch->stop();
    const bool complete = window.settled();
    if (!complete) complain("a page was still loading when the screenshot was taken");
    QTimer::singleShot(paintTime, &window, [&window, file, complete] {
      const bool saved = window.grab().save(file);
      if (!saved) complain("the screenshot cannot be written to " + file.toStdString());
      QCoreApplication::exit(saved && complete ? EXIT_SUCCESS : exit_status::wrongInput);
    });
  });
  watch->start(100);
}

int show(DesktopLine& values, int& argc, char** argv) {
  const bool plays = !values.scenario.empty();
  const bool ends = values.quit || !values.screenshot.empty();
  const Settings settings = settingsFor(values, argv);
  findScreen(ends, argc, argv);
  if (qgetenv("QT_QPA_PLATFORM") == "offscreen") dropWordsAboutTheScreen();
  std::vector<Command> commands =
      plays ? readScenario(values.scenario) : std::vector<Command>{parseCommand("start")};
  Host host(settings);
  const CrashReport crashReport(host, "substitute-desktop", values.addin, values.timeout);
  std::optional<OpenRecorder> recorder;
  if (!values.systemOpen) recorder.emplace(host);
  { const AddIn known(values.addin); }  // what cannot be loaded is told before a window opens
  std::optional<ExpectedTrace> expected;
  if (!values.expectedTrace.empty()) expected.emplace(values.expectedTrace);
  std::optional<TraceFile> trace;
  if (!values.trace.empty()) trace.emplace(values.trace);
  installAddinFolder(values, host);
  if (trace) trace->begin(host);
  if (expected) expected->begin(host);
  ScenarioRunner runner(host, values.addin, std::cout);

  QApplication application(argc, argv);
  QApplication::setApplicationName("substitute-desktop");
  const Theme theme = values.theme.empty()     ? systemTheme()
                      : values.theme == "dark" ? Theme::dark
                                               : Theme::light;
  apply(theme);
  if (values.site.empty()) values.site = besideProgram("site");
  const LearningSite site(QString::fromStdString(values.site),
                          QString::fromStdString(besideProgram("learning-site.crt")),
                          QString::fromStdString(besideProgram("learning-site.key")));
  WebEngine engine(host, site, theme);
  MainWindow window(host, runner, engine, values.addin);
  // What is played is played to its end and no further.
  window.setStopsAtEnd(!ends);
  window.show();
  const Playing playing(window, std::move(commands), ends || !plays ? 0 : stepPause, [&] {
    if (!values.screenshot.empty()) {
      takeScreenshot(window, QString::fromStdString(values.screenshot));
    } else if (values.quit) {
      QCoreApplication::exit(EXIT_SUCCESS);
    }
  });
  const int status = QApplication::exec();
  bool passed = true;
  if (plays) passed = runner.conclude(values.strict, expected ? &*expected : nullptr);
  if (trace && !trace->good()) throw std::runtime_error("the trace could not be written in full");
  return status == EXIT_SUCCESS && !passed ? exit_status::failed : status;
}

}  // namespace

int main(int argc, char** argv) {
  DesktopLine values;
  CLI::App parser(
      "Shows the add-in in a host made for it: a window with toolbar, palettes and their pages.",
      "substitute-desktop");
  parser.set_version_flag("--version", "substitute-desktop " VELORIN_VERSION);
  addOptions(parser, values);
  parser
      .add_option("--play", values.scenario,
                  "play a file, a name (first-starts), or - for standard input; else start the "
                  "add-in")
      ->type_name("SCENARIO")
      ->check(refuseEmpty);
  parser.add_flag("--quit", values.quit, "leave when the scenario has been played");
  parser
      .add_option("--screenshot", values.screenshot,
                  "save a picture of the window when the scenario has been played, and leave")
      ->type_name("FILE");
  parser.add_option("--theme", values.theme, "light or dark; the desktop's if left out")
      ->type_name("THEME")
      ->check(CLI::IsMember({"light", "dark"}).description(""));
  parser
      .add_option("--site", values.site,
                  "the folder shown as the learning site; the sample page if left out")
      ->type_name("DIR");
  try {
    parser.parse(argc, argv);
  } catch (const CLI::Success& done) {
    return parser.exit(done);
  } catch (const CLI::ParseError& error) {
    complain(error.what());
    return exit_status::wrongInput;
  }
  try {
    int count = 1;  // the options are read; none is Qt's
    return show(values, count, argv);
  } catch (const LoadError& error) {
    complain(error.what());
    return exit_status::cannotLoad;
  } catch (const std::exception& error) {
    complain(error.what());
    return exit_status::wrongInput;
  }
}
