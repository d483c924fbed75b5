// The program substitute-desktop, and its parent when the add-in crashes or does not return.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "substitute/desktop/Recording.h"
#include "substitute/desktop/WindowParent.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/HostSession.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

TEST(DesktopProgram, GivesTheTraceOfTheTerminal) {
  const QFileInfoList scenarios = QDir(beside("scenarios")).entryInfoList({"*.txt"});
  ASSERT_FALSE(scenarios.isEmpty());
  for (const QFileInfo& scenario : scenarios) {
    SCOPED_TRACE(scenario.fileName().toStdString());
    const QTemporaryDir folder;
    const QString path = folder.path();
    const QString file = scenario.filePath();
    const ProgramResult shown =
        runProgram("substitute-desktop",
                   {file, "--quit", "--data", path + "/window", "--trace", path + "/window.trace"});
    const ProgramResult played =
        runProgram("substitute-host",
                   {file, "--data", path + "/terminal", "--trace", path + "/terminal.trace"});
    EXPECT_EQ(shown.status, played.status) << shown.errors.toStdString();
    EXPECT_EQ(shown.output, played.output);
    EXPECT_GT(contentOf(path + "/terminal.trace").size(), 200);
    EXPECT_EQ(contentOf(path + "/window.trace"), contentOf(path + "/terminal.trace"));
  }
}

// The add-in's shell removes the library, which a later start then misses.
TEST(DesktopProgram, ReportsThatTheLibraryHasGone) {
  const QTemporaryDir folder;
  const QString library = folder.filePath("Velorin.so");
  ASSERT_TRUE(QFile::copy(beside("Velorin.so"), library));
  std::ofstream(folder.filePath("late.txt").toStdString())
      << "start\nmessage \"; rm " << library.toStdString() << "; : \"\nstop\nstart\noffline\n";
  const ProgramResult ended = runProgram(
      "substitute-desktop",
      {folder.filePath("late.txt"), "--quit", "--data", folder.path(), "--addin", library});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors, "substitute-desktop: there is no library " + library.toUtf8() + ".\n");
  EXPECT_FALSE(ended.output.contains("> offline"));
}

// Also behind a proxy, which cannot resolve the learning site.
TEST(DesktopProgram, TakesAScreenshot) {
  const QTemporaryDir folder;
  const QString file = folder.filePath("window.png");
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert("https_proxy", "http://127.0.0.1:1");
  const ProgramResult ended =
      runProgram("substitute-desktop",
                 {"--data", folder.path(), "--theme", "dark", "--screenshot", file}, environment);
  EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
  // The page on the right is painted with the colour that its dark style sheet alone has.
  const QImage page = QImage(file).copy(1000, 150, 260, 300);
  int accent = 0;
  for (int y = 0; y < page.height(); ++y) {
    for (int x = 0; x < page.width(); ++x) accent += page.pixel(x, y) == qRgb(0x5a, 0xa7, 0xef);
  }
  EXPECT_GT(accent, 50);
}

// It asks for nothing when it leaves by itself. A window needs a display, a picture does not.
TEST(DesktopProgram, SaysWhyItEnds) {
  const QTemporaryDir folder;
  const QString picture = folder.filePath("a.png");
  const QStringList strictly = {"--strict", "--timeout", "1", "--addin",
                                beside("libmisbehaving.so")};
  const QString own = "substitute-desktop: ";
  const QString elsewhere = "; substitute-host plays in the terminal.\n";
  using Row = std::tuple<QString, QStringList, int, QString>;
  const std::vector<Row> cases = {
      {"MISBEHAVE=crash", strictly, SIGSEGV, own + "the host is ended by the signal SIGSEGV\n"},
      {"MISBEHAVE=hang", strictly, 4, own + "a call of the add-in has not returned after "},
      {"MISBEHAVE=exit", strictly, 3, own + "the add-in ends the process\n"},
      // It is still loaded, since nobody has stopped it.
      {"MISBEHAVE=", strictly, 3, ""},
      {"DISPLAY=", {"--screenshot", picture}, 0, ""},
      {"DISPLAY=", {}, 2, own + "there is no display to open a window on" + elsewhere},
      {"DISPLAY=:4077", {}, 2, own + "no window can be opened on the display :4077" + elsewhere},
      {"", {"--wrong"}, 2, "--wrong"},
      {"", {"--theme", "pink"}, 2, "'pink' is not light or dark"},
      {"", {"-"}, 2, "there is no scenario -; there are failing-host, "},
      {"", {"--addin", "/nowhere/lib.so"}, 1, "there is no library /nowhere/lib.so; see --addin."},
      {"", {"--site", folder.path()}, 2, "holds no learning.html."},
      {"", {"--screenshot", "/nowhere/a.png"}, 2, "cannot be written to /nowhere/a.png."},
      {"", {"--screenshot", folder.filePath("a.docx")}, 2, "cannot be written to "}};
  for (const auto& [variable, arguments, status, words] : cases) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QStringList all = QStringList{"--data", folder.path()} + arguments;
    if (variable.startsWith("DISPLAY")) {
      environment.remove("WAYLAND_DISPLAY");
      environment.remove("QT_QPA_PLATFORM");
    } else {
      all << "--quit";
    }
    if (!variable.isEmpty()) {
      environment.insert(variable.section('=', 0, 0), variable.section('=', 1));
    }
    const ProgramResult ended = runProgram("substitute-desktop", all, environment);
    EXPECT_EQ(ended.status, status) << words.toStdString();
    EXPECT_TRUE(ended.errors.contains(words.toUtf8())) << ended.errors.toStdString();
    EXPECT_EQ(ended.errors.isEmpty(), words.isEmpty()) << ended.errors.toStdString();
  }
}

// The tasks run in processes of their own, and tell by files what they have done.
class WindowParent : public testing::Test {
 protected:
  // In place of a window. The end of the test comes with the status 7.
  ScenarioEnd play(const char* addin, std::initializer_list<std::string> lines,
                   const std::string& played) const {
    CommandLine values;
    values.addin = besideProgram(addin);
    HostSession session(values, "-");
    Recording recording(session.runner());
    recording.keepIn(played);
    for (const std::string& line : lines) session.runner().play(parseCommand(line));
    return {7, ""};
  }

  int supervise() const { return superviseWindow(tasks, Supervision{"window"}, "first"); }

  QTemporaryDir folder;
  const std::string file = folder.filePath("file").toStdString();
  WindowTasks tasks;
};

TEST_F(WindowParent, ShowsTheReportWithWhatWasPlayedAndStartsAgain) {
  tasks.watchHang = [](const CrashRecord& record) {
    return record.underWay.get() == std::string("run");
  };
  tasks.showReport = [this](const std::string& report, const std::string& played) {
    std::ofstream(file) << report << std::ifstream(played).rdbuf();
    return true;
  };
  tasks.show = [this](const std::string& scenario, const std::string& played) {
    EXPECT_EQ(scenario, "first");
    if (std::filesystem::exists(file)) return ScenarioEnd{7, ""};
    return play("libmisbehaving.so", {"offline", "start", "online"}, played);
  };
  for (const auto& [misbehaviour, title] :
       {std::pair("crash", "window: the host is ended by the signal SIGSEGV\n"),
        std::pair("exit", "window: the add-in ends the process\n"),
        std::pair("hang", "window: a call of the add-in has not returned and is ended\n")}) {
    qputenv("MISBEHAVE", misbehaviour);
    EXPECT_EQ(supervise(), 7);
    const QByteArray shown = contentOf(QString::fromStdString(file));
    EXPECT_TRUE(shown.startsWith(title)) << shown.toStdString();
    EXPECT_TRUE(shown.contains("\n  command: start\n"));
    EXPECT_TRUE(shown.endsWith("\noffline\nstart\n")) << shown.toStdString();
    std::filesystem::remove(file);
  }
  qunsetenv("MISBEHAVE");
}

TEST_F(WindowParent, EndsWithTheWindow) {
  tasks.showReport = [](const std::string& /*report*/, const std::string& /*played*/) {
    return false;
  };
  tasks.show = [](const std::string& scenario, const std::string& /*played*/) {
    if (scenario == "second") _exit(0);  // without an end
    return ScenarioEnd{0, "", "second"};
  };
  EXPECT_EQ(supervise(), 3);
}

// The call returns when its watcher has written to the pipe. The watcher itself never ends.
TEST_F(WindowParent, EndsTheWatcherOfACallThatReturns) {
  ASSERT_EQ(mkfifo(file.c_str(), S_IRWXU), 0);
  tasks.watchHang = [this](const CrashRecord& record) {
    std::ofstream(file) << record.underWay.get() << std::endl;
    while (true) pause();
    return true;
  };
  tasks.show = [this](const std::string& /*scenario*/, const std::string& played) {
    return play("Velorin.so", {"start", "message \"x; cat " + file + "; : \"", "stop"}, played);
  };
  EXPECT_EQ(supervise(), 7);
}

TEST(Question, AboutALastingCallIsClosedByItsButtonAlone) {
  const SharedCrashRecord record = newCrashRecord();
  record->underWay.set("run");
  record->command.set("s.txt:3: start");
  record->lastCall.set("Palettes.add");
  inDialog<QDialog>([](QDialog& dialog) {
    EXPECT_EQ(dialog.findChild<QLabel*>()->text(),
              "run has not returned after two seconds.\nCommand: s.txt:3: start\n"
              "Last call of the host: Palettes.add");
    QTest::keyClick(&dialog, Qt::Key_Escape);
    dialog.close();
    EXPECT_TRUE(dialog.isVisible());
    dialog.findChild<QPushButton*>("end")->click();
  });
  EXPECT_TRUE(wantsToEnd(*record));
}

TEST(Question, AboutTheReportCopiesItSavesTheScenarioAndStartsAgain) {
  const QTemporaryDir folder;
  const QString played = folder.filePath("played");
  for (const bool isKept : {false, true}) {
    if (isKept) std::ofstream(played.toStdString()) << "offline\nstart\n";
    inDialog<QDialog>([&](QDialog& dialog) {
      const auto button = [&](const char* name) { return dialog.findChild<QPushButton*>(name); };
      EXPECT_EQ(dialog.findChild<QPlainTextEdit*>("report")->toPlainText(), "the report\n");
      button("copy")->click();
      EXPECT_EQ(QApplication::clipboard()->text(), "the report\n");
      EXPECT_EQ(button("save")->isEnabled(), isKept);
      for (const char* const name : {"one", "two"}) {
        if (!isKept) continue;
        typeInFileDialog(folder.filePath(name));
        button("save")->click();
      }
      button(isKept ? "again" : "close")->click();
    });
    EXPECT_EQ(wantsToStartAgain("the report\n", played.toStdString()), isKept);
  }
  for (const char* const name : {"one", "two"}) {
    EXPECT_EQ(contentOf(folder.filePath(name)), "offline\nstart\n");
  }
}

}  // namespace
