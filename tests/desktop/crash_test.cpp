// What the window's parent does when the add-in crashes or does not return, and what it asks then.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QClipboard>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "substitute/desktop/WindowParent.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/HostSession.h"
#include "substitute/driver/Recording.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

// The tasks run in processes of their own, and tell by files what they have done.
class WindowParent : public testing::Test {
 protected:
  // In place of a window. The end of the test comes with the status 7.
  ScenarioEnd play(const char* addin, std::initializer_list<std::string> lines,
                   const std::string& played) const {
    CommandLine values;
    values.addin = besideProgram(addin);
    HostSession session(values, "window", {"s"});
    Recording recording(session.runner());
    recording.keepIn(played);
    for (const std::string& line : lines) session.runner().play(parseCommand(line));
    return {7, ""};
  }

  int supervise() const { return superviseWindow(tasks, "window", 0, "first"); }

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
  EXPECT_TRUE(asksToEnd(*record));
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
    EXPECT_EQ(asksToStartAgain("the report\n", played.toStdString()), isKept);
  }
  for (const char* const name : {"one", "two"}) {
    EXPECT_EQ(contentOf(folder.filePath(name)), "offline\nstart\n");
  }
}

}  // namespace
