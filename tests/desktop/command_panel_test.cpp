// The commands in the window: listed, typed, played step by step, opened and saved.
#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QCheckBox>
#include <QCompleter>
#include <QFileDialog>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTreeView>
#include <fstream>

#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/ScenarioMenu.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class CommandWindow : public Desktop {
 protected:
  CommandWindow() { activate(); }

  // There is no window manager that does it when a floating palette is closed.
  void activate() {
    window.activateWindow();
    EXPECT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
  }

  CommandPanel& panel() const { return *window.findChild<CommandPanel*>(); }
  QTreeView& list() const { return *window.findChild<QTreeView*>("commandList"); }
  QLineEdit& field() const { return *window.findChild<QLineEdit*>("commandLine"); }
  QLabel& message() const { return *window.findChild<QLabel*>("commandMessage"); }
  // The message beneath the command line, as a screen reader reads it out.
  QString sentence() const { return message().accessibleName(); }
  ScenarioMenu& menu() const { return *window.findChild<ScenarioMenu*>(); }
  QString output() const {
    return window.findChild<QPlainTextEdit*>("commandOutput")->toPlainText();
  }

  // The rows of the list: mark and line, with a space between them.
  QStringList rows() const {
    QStringList all;
    for (int row = 0; row < list().model()->rowCount(); ++row) {
      all << list().model()->index(row, 0).data().toString() + " " +
                 list().model()->index(row, 1).data().toString();
    }
    return all;
  }

  QString spoken(int row) const {
    return list().model()->index(row, 0).data(Qt::AccessibleTextRole).toString();
  }

  void type(const QString& line) {
    activate();
    QTest::keyClick(&window, Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(field().hasFocus());
    QTest::keyClicks(&field(), line);
    field().completer()->popup()->hide();
    QTest::keyClick(&field(), Qt::Key_Return);
  }

  QString file(const QString& name, const QByteArray& content) const {
    std::ofstream(folder.filePath(name).toStdString()) << content.toStdString();
    return folder.filePath(name);
  }

  // Plays a file with substitute-host, in another host.
  ProgramResult playInTerminal(const QString& scenario) const {
    return runProgram("substitute-host", {scenario, "--trace", folder.filePath("terminal.trace")});
  }

  QByteArray traceSoFar() const {
    std::string all;
    for (const Json& entry : trace) all += line(entry) + '\n';
    return QByteArray::fromStdString(all);
  }
};

using CommandList = CommandWindow;
using TypedCommand = CommandWindow;
using ScenarioInWindow = CommandWindow;
using SavedScenario = CommandWindow;

// The output of the commands is what the terminal prints.
TEST_F(CommandList, ShowsPlayedCommandsWithTheirOutput) {
  startWithPage();
  QTest::mouseClick(button(), Qt::LeftButton);
  window.play("# A remark.");
  window.play("message-to none <h1>&amp;");
  action("offline").trigger();
  window.play("state");
  window.play("expect /run false");
  EXPECT_EQ(rows(), QStringList({"1 start", "2 click runTeachPalette", " # A remark.",
                                 "3 message-to none <h1>&amp;", "4 offline", "5 state",
                                 QString::fromUtf8("✗ 6 expect /run false")}));
  EXPECT_EQ(spoken(6), "6, failed");
  const QColor failure = list().model()->index(6, 0).data(Qt::ForegroundRole).value<QColor>();
  EXPECT_EQ(failure, window.palette().color(QPalette::BrightText));
  EXPECT_EQ(output(), "expect /run false\nexpected /run false, found true");

  QString shown;
  for (int row = 0; row < list().model()->rowCount(); ++row) {
    list().setCurrentIndex(list().model()->index(row, 1));
    const QString line = list().model()->index(row, 1).data().toString();
    if (line.startsWith('#')) shown += '\n' + output() + '\n';
    if (line == "state" || line.startsWith("expect")) {
      shown += output().section('\n', 1) + '\n';
    } else if (!line.startsWith('#')) {
      shown += "> " + output() + '\n';
    }
  }
  EXPECT_EQ(shown.toStdString(), report.str());
  EXPECT_TRUE(shown.contains("> message-to none <h1>&amp;\n  There is no palette \"none\""));
}

TEST_F(CommandList, FollowsUnlessAnEarlierCommandIsRead) {
  window.play("offline");
  window.play("online");
  EXPECT_EQ(list().currentIndex().row(), 1);
  EXPECT_EQ(output(), "online\n  The host is online.");
  panel().select(1);
  EXPECT_EQ(output(), "offline\n  The host is offline.");
  window.play("language 3");
  EXPECT_EQ(list().currentIndex().row(), 0);
  panel().select(3);
  window.play("language 2");
  EXPECT_EQ(list().currentIndex().row(), 3);
}

TEST_F(CommandList, SelectsACommandByItsNumber) {
  EXPECT_EQ(panel().current(), 0);
  window.play("# Not counted.");
  for (int i = 0; i < 60; ++i) window.play("offline");
  EXPECT_EQ(panel().current(), 60);
  panel().select(2);
  EXPECT_EQ(list().currentIndex().row(), 2);
  EXPECT_TRUE(list().viewport()->rect().intersects(list().visualRect(list().currentIndex())));
  for (const int unknown : {0, -1, 61}) panel().select(unknown);
  EXPECT_EQ(list().currentIndex().row(), 2);
}

TEST_F(CommandList, IsReachedFromALineOfTheTrace) {
  window.play("# Not counted.");
  window.play("start");
  window.play("offline");
  window.play("stop");
  panel().hide();
  auto& lines = *window.findChild<QTreeView*>("traceList");
  const auto goFrom = [&](int row) {
    lines.setFocus();
    lines.setCurrentIndex(lines.model()->index(row, 0));
    QTest::keyClick(&lines, Qt::Key_Return);
  };
  goFrom(lines.model()->rowCount() - 1);
  EXPECT_TRUE(panel().isVisible());
  EXPECT_TRUE(output().startsWith("stop\n")) << output().toStdString();
  goFrom(0);
  EXPECT_TRUE(output().startsWith("start\n")) << output().toStdString();
}

TEST_F(CommandList, HidesAndComesBack) {
  QTest::mouseClick(panel().findChild<QToolButton*>("close"), Qt::LeftButton);
  EXPECT_FALSE(panel().isVisible());
  EXPECT_FALSE(action("showCommands").isChecked());
  action("showCommands").trigger();
  EXPECT_TRUE(panel().isVisible());
  panel().hide();
  QTest::keyClick(&window, Qt::Key_L, Qt::ControlModifier);
  EXPECT_TRUE(panel().isVisible());
  EXPECT_TRUE(field().hasFocus());
}

TEST_F(TypedCommand, IsPlayed) {
  type("fail Palettes.add");
  type("start");
  EXPECT_TRUE(runner.loaded());
  EXPECT_EQ(host.state()["palettes"], Json::array());
  EXPECT_EQ(rows(), QStringList({"1 fail Palettes.add", "2 start"}));
  EXPECT_TRUE(output().contains("run returned ")) << output().toStdString();
  EXPECT_EQ(field().text(), "");
}

TEST_F(TypedCommand, StaysToBeCorrectedWhenItIsWrong) {
  type("langage 3");
  EXPECT_EQ(field().text(), "langage 3");
  EXPECT_TRUE(message().isVisible());
  EXPECT_TRUE(sentence().startsWith("'langage' is not a command; the nearest are language"))
      << sentence().toStdString();
  EXPECT_TRUE(sentence().endsWith('.'));
  EXPECT_TRUE(rows().isEmpty());
  field().setCursorPosition(4);
  QTest::keyClick(&field(), 'u');
  EXPECT_FALSE(message().isVisible());
  QTest::keyClick(&field(), Qt::Key_Return);
  EXPECT_EQ(rows(), QStringList("1 language 3"));
  EXPECT_EQ(host.state()["language"], 3);
}

TEST_F(TypedCommand, LongWordsWidenNothing) {
  const int width = panel().width();
  const QSize size = window.size();
  const QString word(4096, 'x');
  type(word);
  EXPECT_TRUE(sentence().contains(word));
  EXPECT_LT(message().text().size(), 300);
  EXPECT_TRUE(message().toolTip().remove(QChar(0x200B)).contains(word));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  EXPECT_LT(message().height(), 200);
  EXPECT_EQ(panel().width(), width);
  EXPECT_EQ(window.size(), size);
}

TEST_F(TypedCommand, ComesBackFromTheHistory) {
  type("offline");
  type("language 3");
  QTest::keyClicks(&field(), "ent");
  field().completer()->popup()->hide();
  QTest::keyClick(&field(), Qt::Key_Up);
  EXPECT_EQ(field().text(), "language 3");
  QTest::keyClick(&field(), Qt::Key_Up);
  EXPECT_EQ(field().text(), "offline");
  QTest::keyClick(&field(), Qt::Key_Up);
  EXPECT_EQ(field().text(), "offline");
  QTest::keyClick(&field(), Qt::Key_Down);
  QTest::keyClick(&field(), Qt::Key_Down);
  EXPECT_EQ(field().text(), "ent");
  QTest::keyClick(&field(), Qt::Key_Down);
  EXPECT_EQ(field().text(), "ent");
}

// The first Enter accepts the completion, the second one plays it.
TEST_F(TypedCommand, IsCompleted) {
  window.play("plant control own");
  QTest::keyClick(&window, Qt::Key_L, Qt::ControlModifier);
  const QAbstractItemView& popup = *field().completer()->popup();
  const auto proposed = [&] {
    QStringList lines;
    for (int row = 0; row < popup.model()->rowCount(); ++row) {
      lines << popup.model()->index(row, 0).data().toString();
    }
    return lines;
  };
  QTest::keyClicks(&field(), "cl");
  ASSERT_TRUE(popup.isVisible());
  EXPECT_EQ(proposed(), QStringList({"click", "close"}));
  QTest::keyClick(field().completer()->popup(), Qt::Key_Down);
  QTest::keyClick(field().completer()->popup(), Qt::Key_Return);
  EXPECT_EQ(field().text(), "click");
  EXPECT_EQ(panel().current(), 1);
  QTest::keyClicks(&field(), " ");
  ASSERT_TRUE(popup.isVisible());
  EXPECT_EQ(proposed(), QStringList({"click HelpGroupCommand", "click own"}));
  QTest::keyClick(field().completer()->popup(), Qt::Key_Down);
  QTest::keyClick(field().completer()->popup(), Qt::Key_Down);
  QTest::keyClick(field().completer()->popup(), Qt::Key_Return);
  EXPECT_EQ(field().text(), "click own");
  QTest::keyClick(&field(), Qt::Key_Return);
  EXPECT_EQ(panel().current(), 2);
  EXPECT_TRUE(rows().contains("2 click own"));
  QTest::keyClicks(&field(), "hel");
  EXPECT_EQ(proposed(), QStringList("help"));
}

TEST_F(TypedCommand, AsksForHelp) {
  type("help");
  EXPECT_TRUE(output().contains("\nmessage-to ID [DATA]\n    the page of"));
  EXPECT_TRUE(output().contains("\nhelp [COMMAND]\n"));
  type("help dock");
  EXPECT_TRUE(output().startsWith("dock ID STATE\n    the user drags")) << output().toStdString();
  EXPECT_FALSE(output().contains("message-to"));
  type("help dok");
  EXPECT_EQ(sentence(), "'dok' is not a command; 'help' lists them.");
  EXPECT_TRUE(rows().isEmpty());
}

TEST_F(ScenarioInWindow, IsPlayedStepByStep) {
  menu().open(file("s.txt", "# First.\noffline\n\nlanguage 3\n# Last.\n"));
  EXPECT_EQ(sentence(), "s.txt is open: F10 plays its next command, F8 plays on.");
  const QString mark = QString::fromUtf8("▶");
  EXPECT_EQ(rows(), QStringList({mark + " # First.", " offline", " language 3", " # Last."}));
  EXPECT_EQ(spoken(0), "Next");
  EXPECT_EQ(host.state()["offline"], false);

  QTest::keyClick(&window, Qt::Key_F10);
  EXPECT_EQ(rows(), QStringList({" # First.", "1 offline", mark + " language 3", " # Last."}));
  EXPECT_EQ(host.state()["offline"], true);
  EXPECT_TRUE(list().model()->index(2, 1).data(Qt::FontRole).value<QFont>().bold());
  EXPECT_FALSE(list().model()->index(1, 1).data(Qt::FontRole).value<QFont>().bold());

  // A command that is played by hand comes before the pending ones.
  type("online");
  EXPECT_EQ(rows(),
            QStringList({" # First.", "1 offline", "2 online", mark + " language 3", " # Last."}));
  action("nextCommand").trigger();
  EXPECT_EQ(host.state()["language"], 3);
  QTest::keyClick(&window, Qt::Key_F10);
  EXPECT_EQ(rows().last(), " # Last.");
  EXPECT_TRUE(waitUntil([this] { return !window.playback().isPlaying(); }));
  EXPECT_FALSE(action("nextCommand").isEnabled());
  EXPECT_FALSE(action("playOn").isEnabled());
}

TEST_F(ScenarioInWindow, IsPlayedOnAndPaused) {
  menu().open(file("s.txt", "offline\nonline\nlanguage 3\nlanguage 4\n"));
  QAction& playOn = action("playOn");
  EXPECT_EQ(playOn.text(), "&Play on");
  window.playback().setInterval(1000000);
  QTest::keyClick(&window, Qt::Key_F8);
  EXPECT_EQ(playOn.text(), "&Pause");
  EXPECT_TRUE(waitUntil([this] { return panel().current() == 1; }));
  QTest::keyClick(&window, Qt::Key_F8);
  EXPECT_EQ(playOn.text(), "&Play on");
  EXPECT_FALSE(window.playback().isPlaying());
  window.playback().setInterval(0);
  QTest::keyClick(&window, Qt::Key_F8);
  EXPECT_TRUE(waitUntil([this] { return panel().current() == 4; }));
  EXPECT_TRUE(waitUntil([this] { return !window.playback().isPlaying(); }));
  EXPECT_EQ(host.state()["language"], 4);
}

TEST_F(ScenarioInWindow, IsChosenInADialog) {
  const QString path = file("chosen.txt", "offline\n");
  QTimer::singleShot(0, &window, [&] {
    auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    ASSERT_NE(dialog, nullptr);
    auto* const name = dialog->findChild<QLineEdit*>("fileNameEdit");
    name->setText(path);
    QTest::keyClick(name, Qt::Key_Return);
  });
  action("openScenario").trigger();
  EXPECT_EQ(rows(), QStringList(QString::fromUtf8("▶ offline")));
  EXPECT_EQ(host.state()["offline"], false);
}

TEST_F(ScenarioInWindow, IsRefusedAsAWhole) {
  const QString path = file("s.txt", "offline\nonlin\n");
  menu().open(path);
  EXPECT_TRUE(sentence().startsWith(path + ":2: 'onlin' is not a command; "))
      << sentence().toStdString();
  EXPECT_TRUE(rows().isEmpty());
  EXPECT_FALSE(window.playback().hasNext());
  menu().open(folder.filePath("none.txt"));
  EXPECT_TRUE(sentence().contains("none.txt")) << sentence().toStdString();
}

TEST_F(ScenarioInWindow, StopsWhereTheLibraryIsMissing) {
  window.play("start");
  ScenarioRunner missing{host, "/nowhere/lib.so", report};
  Playback playback(
      [&](const Command& command) {
        try {
          missing.play(command);
          return true;
        } catch (const LoadError&) {
          return false;
        }
      },
      nullptr);
  int failures = 0;
  QObject::connect(&playback, &Playback::failed, [&] { ++failures; });
  playback.add({parseCommand("start"), parseCommand("offline")});
  playback.playOn();
  EXPECT_TRUE(waitUntil([&] { return failures == 1; }));
  EXPECT_TRUE(playback.hasNext());
  EXPECT_FALSE(playback.isPlaying());
  EXPECT_EQ(host.state()["offline"], false);
}

// The commands come from menu, mouse, page and command line.
TEST_F(SavedScenario, GivesTheSameTraceInTheTerminal) {
  window.play("info-lines [\"1.1.2026\", \"2\"]");
  startWithPage();
  ASSERT_TRUE(pageSends("'\"first second\"'"));
  ASSERT_TRUE(pageSends("''"));
  QTest::mouseClick(learningDock()->findChild<QToolButton*>("float"), Qt::LeftButton);
  EXPECT_TRUE(learningDock()->isFloating());
  QTest::mouseClick(learningDock()->findChild<QToolButton*>("close"), Qt::LeftButton);
  QTest::mouseClick(button(), Qt::LeftButton);
  action("offline").trigger();
  action("language:3").trigger();
  answer("askEntitlement", QString::fromUtf8(" Žlutý & kůň"));
  type("fail Palette.isVisible 1 throw");
  type("plant palette other");
  ASSERT_NE(window.dock("other"), nullptr);
  type("show other");
  window.dock("other")->close();
  action("offline").trigger();
  action("again").trigger();

  const QString path = folder.filePath("saved.txt");
  menu().save(path, true);
  EXPECT_EQ(sentence(), "Saved in saved.txt.");
  const QByteArray scenario = contentOf(path);
  for (const char* const line :
       {"\nclose other\n", "\ndock teachPalete 0\n", "\nmessage \"first second\"\n", "\nclose\n"}) {
    EXPECT_TRUE(scenario.contains(line)) << line << scenario.toStdString();
  }
  const ProgramResult ended = playInTerminal(path);
  EXPECT_EQ(ended.status, 0) << ended.errors.toStdString() << ended.output.toStdString();
  EXPECT_EQ(contentOf(folder.filePath("terminal.trace")), traceSoFar());
  const auto expectations = scenario.count("\nexpect ");
  EXPECT_GT(expectations, 10);
  EXPECT_TRUE(ended.output.contains(QByteArray::number(expectations) + " expectations, 0 failed\n"))
      << ended.output.toStdString();

  QByteArray changed = scenario;
  changed.replace("expect /language 3", "expect /language 2");
  const ProgramResult failed = playInTerminal(file("changed.txt", changed));
  EXPECT_EQ(failed.status, 3);
  EXPECT_TRUE(failed.output.contains("expected /language 2, found 3"));
}

TEST_F(SavedScenario, SaysWhatNoLineCanHold) {
  startWithPage();
  ASSERT_TRUE(pageSends("'two\\nlines'"));
  menu().save(folder.filePath("saved.txt"), false);
  EXPECT_EQ(sentence(), "Saved in saved.txt; comments name what no line can hold, in 1 place.");
  EXPECT_TRUE(contentOf(folder.filePath("saved.txt"))
                  .contains("# Left out, since no line can hold it: message two\\nlines\n"));
}

TEST_F(SavedScenario, TellsThatItIsNotWrittenAlsoWhereThePanelWasHidden) {
  panel().hide();
  menu().save("/nowhere/saved.txt", false);
  EXPECT_TRUE(message().isVisible());
  EXPECT_TRUE(sentence().startsWith("The scenario cannot be written to /nowhere/saved.txt: "))
      << sentence().toStdString();
}

TEST_F(SavedScenario, IsAskedForWithItsExpectations) {
  window.play("offline");
  const QString path = folder.filePath("asked");
  QTimer::singleShot(0, &window, [&] {
    auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    ASSERT_NE(dialog, nullptr);
    auto* const expects = dialog->findChild<QCheckBox*>("withExpectations");
    EXPECT_TRUE(expects->isVisible());
    EXPECT_FALSE(expects->isChecked());
    QTest::keyClick(expects, Qt::Key_Space);
    auto* const name = dialog->findChild<QLineEdit*>("fileNameEdit");
    name->setText(path);
    QTest::keyClick(name, Qt::Key_Return);
  });
  action("saveScenario").trigger();
  EXPECT_EQ(sentence(), "Saved in asked.txt.");
  EXPECT_TRUE(contentOf(path + ".txt").contains("\noffline\n"));
  EXPECT_TRUE(contentOf(path + ".txt").contains("\nexpect /offline true\n"));
}

}  // namespace
