// substitute-desktop: the substitute host as a window.
#include <QApplication>
#include <QTimer>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "substitute/core/CommandLine.h"
#include "substitute/core/Scenario.h"
#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"

namespace {

using namespace substitute;

constexpr int cannotLoad = 1;
constexpr int wrongInput = 2;

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

// Whether there is something to draw on. A picture needs no screen.
bool hasDisplay(bool forPictureOnly) {
  for (const char* const variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    if (!qgetenv(variable).isEmpty()) return true;
  }
  if (forPictureOnly) qputenv("QT_QPA_PLATFORM", "offscreen");
  return forPictureOnly;
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
    if (!window_.play(commands_[next_++])) return QCoreApplication::exit(cannotLoad);
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
    if (*left == 0) complain("a page was still loading when the screenshot was taken");
    QTimer::singleShot(paintTime, &window, [&window, file] {
      const bool saved = window.grab().save(file);
      if (!saved) complain("the screenshot cannot be written to " + file.toStdString());
      QCoreApplication::exit(saved ? EXIT_SUCCESS : wrongInput);
    });
  });
  watch->start(100);
}

int show(DesktopLine& values, int& argc, char** argv) {
  const bool plays = !values.scenario.empty();
  const bool ends = values.quit || !values.screenshot.empty();
  if (!hasDisplay(ends)) {
    complain("there is no display to open a window on; substitute-host plays in the terminal");
    return wrongInput;
  }
  std::vector<Command> commands =
      plays ? readScenario(values.scenario) : std::vector<Command>{parseCommand("start")};
  Host host(settingsFor(values));
  { const AddIn known(values.addin); }  // what cannot be loaded is told before a window opens
  std::optional<TraceFile> trace;
  if (!values.trace.empty()) trace.emplace(values.trace);
  installAddinFolder(values);
  if (trace) trace->begin(host);
  Player player(host, values.addin, std::cout);

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
  MainWindow window(host, player, engine, values.addin);
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
  if (trace && !trace->good()) throw std::runtime_error("the trace could not be written in full");
  return status;
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
  parser.add_flag("--quit", values.quit, "leave at the end of it");
  parser
      .add_option("--screenshot", values.screenshot,
                  "save a picture of the window at the end of it, and leave")
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
    return wrongInput;
  }
  try {
    int count = 1;  // the options are read; none is Qt's
    return show(values, count, argv);
  } catch (const LoadError& error) {
    complain(error.what());
    return cannotLoad;
  } catch (const std::exception& error) {
    complain(error.what());
    return wrongInput;
  }
}
