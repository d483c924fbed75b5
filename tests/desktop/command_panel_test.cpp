// The commands in the window: listed, typed, played from scenarios, and saved as one; and the
// status bar, which tells what came of them.
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/Widgets.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class CommandWindow : public Desktop {
 protected:
  CommandPanel& panel = part<CommandPanel>("commands");
  QTreeView& list = part<QTreeView>("commandList");
  QLineEdit& field = part<QLineEdit>("commandLine");
  QLabel& message = part<QLabel>("commandMessage");

  // The message beneath the command line, as a screen reader reads it out.
  std::string sentence() const { return message.accessibleName().toStdString(); }
  std::string output() const {
    return part<QPlainTextEdit>("commandOutput").toPlainText().toStdString();
  }

  // The rows of the list: margin and line, with a space between them.
  QStringList rows() const {
    QStringList all;
    for (int row = 0; row < list.model()->rowCount(); ++row) {
      all << list.model()->index(row, 0).data().toString() + " " +
                 list.model()->index(row, 1).data().toString();
    }
    return all;
  }

  QString spoken(int row) const {
    return list.model()->index(row, 0).data(Qt::AccessibleTextRole).toString();
  }

  void type(const QString& line) {
    press(Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(field.hasFocus());
    QTest::keyClicks(&field, line);
    field.completer()->popup()->hide();
    QTest::keyClick(&field, Qt::Key_Return);
  }

  QString file(const char* name, const QByteArray& content) const {
    std::ofstream(folder.filePath(name).toStdString()) << content.toStdString();
    return folder.filePath(name);
  }

  static void answer(QMessageBox::StandardButton button) {
    inDialog<QMessageBox>([button](QMessageBox& box) { box.button(button)->click(); });
  }
};

using CommandList = CommandWindow;
using TypedCommand = CommandWindow;
using ScenarioInWindow = CommandWindow;
using SavedScenario = CommandWindow;
using StatusLine = CommandWindow;

// The output of the commands is what the terminal prints, but for the state, which is indented.
TEST_F(CommandList, ShowsPlayedCommandsWithTheirOutput) {
  play({"start", "# A remark.", "message-to none <h1>&amp;", "offline", "state"});
  EXPECT_EQ(rows(), QStringList({"1 start", " # A remark.", "2 message-to none <h1>&amp;",
                                 "3 offline", "4 state"}));
  std::string shown;
  for (int row = 0; row < 4; ++row) {
    list.setCurrentIndex(list.model()->index(row, 1));
    shown += (row == 1 ? "\n" : "> ") + output() + '\n';
  }
  EXPECT_EQ(report.str(), shown + line(runner.state()) + '\n');
  panel.select(4);
  EXPECT_EQ(output(), "state\n" + indented(runner.state()));
}

TEST_F(CommandList, MarksExpectationsAndPlannedFailures) {
  play({"expect /run null", "expect /run false", "fail Palettes.add", "start"});
  EXPECT_EQ(rows(), QStringList({"✓ 1 expect /run null", "✗ 2 expect /run false",
                                 "3 fail Palettes.add", "× 4 start"}));
  EXPECT_EQ(spoken(0), "1, held");
  EXPECT_EQ(spoken(1), "2, failed");
  EXPECT_EQ(spoken(3), "4, a planned failure happened");
  const auto& count = part<QLabel>("expectations");
  EXPECT_EQ(count.accessibleName(), "1 expectations held, 1 failed");
  EXPECT_TRUE(count.text().startsWith("✓ 1"));
}

TEST_F(CommandList, FollowsUnlessAnEarlierCommandIsRead) {
  play({"offline", "online"});
  EXPECT_EQ(output(), "online\n  The host is online.");
  panel.select(1);
  EXPECT_EQ(output(), "offline\n  The host is offline.");
  window.play("language 3");
  EXPECT_EQ(list.currentIndex().row(), 0);
}

TEST_F(TypedCommand, StaysToBeCorrectedWhenItIsWrong) {
  panel.hide();
  type("langage 3");
  EXPECT_EQ(field.text(), "langage 3");
  EXPECT_EQ(sentence().rfind("'langage' is not a command; the nearest are language", 0), 0U);
  EXPECT_TRUE(rows().isEmpty());
  field.setCursorPosition(4);
  QTest::keyClick(&field, 'u');
  EXPECT_FALSE(message.isVisible());
  QTest::keyClick(&field, Qt::Key_Return);
  EXPECT_EQ(rows(), QStringList("1 language 3"));
  EXPECT_EQ(field.text(), "");
  type(QString(4096, 'x'));
  EXPECT_LT(message.text().size(), 300);
}

// The first Enter accepts the completion, the second one plays it.
TEST_F(TypedCommand, IsCompleted) {
  QAbstractItemView& popup = *field.completer()->popup();
  const auto proposed = [&](const char* typed) {
    field.clear();
    QTest::keyClicks(&field, typed);
    QStringList lines;
    for (int row = 0; row < popup.model()->rowCount(); ++row) {
      lines << popup.model()->index(row, 0).data().toString();
    }
    return lines;
  };
  window.play("plant control own");
  press(Qt::Key_L, Qt::ControlModifier);
  EXPECT_EQ(proposed("ca"), QStringList("calls"));
  EXPECT_EQ(proposed("fail Pal").first(), "fail Palette.deleteMe");
  EXPECT_EQ(proposed("click "), QStringList({"click HelpGroupCommand", "click own"}));
  for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Return})
    QTest::keyClick(&popup, key);
  EXPECT_EQ(field.text(), "click own");
  EXPECT_EQ(panel.current(), 1);
  QTest::keyClick(&field, Qt::Key_Return);
  EXPECT_EQ(rows().last(), "2 click own");
}

TEST_F(TypedCommand, AsksForHelpAndForCalls) {
  play({"start", "offline"});
  type("help dock");
  EXPECT_EQ(output().rfind("dock ID STATE\n    the user drags", 0), 0U) << output();
  type("calls");
  EXPECT_EQ(output().rfind("> offline\n  notify OnlineStatusChangedHandler\n", 0), 0U) << output();
  type("calls 3");
  EXPECT_EQ(sentence(), "there is no command \"3\"; the last one is 2.");
  EXPECT_EQ(rows().size(), 2);
}

TEST_F(ScenarioInWindow, IsPlayedStepByStep) {
  window.open(file("s.txt", "# First.\noffline\n\nlanguage 3\n# Last.\n"));
  EXPECT_EQ(sentence(), "s.txt is open: F10 plays its next command, F8 plays on.");
  EXPECT_EQ(rows(), QStringList({"▶ # First.", " offline", " language 3", " # Last."}));
  EXPECT_EQ(spoken(0), "Next");
  press(Qt::Key_F10);
  EXPECT_EQ(rows(), QStringList({" # First.", "1 offline", "▶ language 3", " # Last."}));
  // A command that is played by hand comes before the pending ones.
  type("online");
  EXPECT_EQ(rows().mid(2), QStringList({"2 online", "▶ language 3", " # Last."}));
  press(Qt::Key_F10);
  press(Qt::Key_F10);
  EXPECT_EQ(rows().mid(3), QStringList({"3 language 3", " # Last."}));
  EXPECT_TRUE(waitUntil([this] { return !window.playback().isPlaying(); }));
  EXPECT_FALSE(action("nextCommand").isEnabled());
}

TEST_F(ScenarioInWindow, IsPlayedOnAndPaused) {
  window.open(file("s.txt", "offline\nonline\n# Not counted.\nlanguage 3\nlanguage 4\n"));
  EXPECT_TRUE(action("speed:second").isChecked());
  press(Qt::Key_F8);
  EXPECT_EQ(action("playOn").text(), "&Pause");
  EXPECT_TRUE(waitUntil([this] { return panel.current() == 1; }));
  press(Qt::Key_F8);
  EXPECT_FALSE(window.playback().isPlaying());
  EXPECT_EQ(window.playback().notPlayed(), "3 commands were not played");
  action("speed:noPause").trigger();
  press(Qt::Key_F8);
  EXPECT_TRUE(waitUntil([this] { return panel.current() == 4; }));
  EXPECT_TRUE(waitUntil([this] { return !window.playback().isPlaying(); }));
  EXPECT_EQ(window.playback().notPlayed(), "");
}

TEST_F(ScenarioInWindow, FiveThousandLinesTakeLessThanTenSecondsAtOnce) {
  QByteArray lines = "start\n";
  for (int i = 0; i < 1250; ++i) lines += "offline\nclick\nonline\nexpect /run true\n";
  window.open(file("long.txt", lines));
  action("speed:atOnce").trigger();
  QElapsedTimer clock;
  clock.start();
  press(Qt::Key_F8);
  ASSERT_TRUE(waitUntil([this] { return panel.current() == 5001; }));
  EXPECT_LT(clock.elapsed(), 10000);
  ASSERT_TRUE(waitUntil([this] { return !window.playback().isPlaying(); }));
  EXPECT_EQ(list.currentIndex().row(), 5000);
  EXPECT_NE(learningDock(), nullptr);
}

TEST_F(ScenarioInWindow, IsChosenInADialogOrInTheMenu) {
  typeInFileDialog(file("chosen.txt", "offline\n"));
  action("openScenario").trigger();
  EXPECT_EQ(rows(), QStringList("▶ offline"));
  answer(QMessageBox::No);
  action("scenario:page-messages").trigger();
  EXPECT_GT(rows().size(), 5);
}

TEST_F(ScenarioInWindow, BeginsANewHostWhenSomethingWasPlayed) {
  const QString path = file("s.txt", "offline\n");
  window.play("start");
  answer(QMessageBox::Cancel);
  window.open(path);
  EXPECT_FALSE(window.playback().hasNext());
  EXPECT_TRUE(window.isVisible());
  answer(QMessageBox::Yes);
  window.open(path);
  EXPECT_EQ(window.nextScenario(), path.toStdString());
  EXPECT_FALSE(window.isVisible());
  EXPECT_FALSE(runner.loaded());
}

TEST_F(ScenarioInWindow, IsRefusedAsAWhole) {
  const QString path = file("s.txt", "offline\nonlin\n");
  window.open(path);
  EXPECT_EQ(sentence().rfind(path.toStdString() + ":2: 'onlin' is not a command; ", 0), 0U);
  EXPECT_TRUE(rows().isEmpty());
}

// The commands come from menu, mouse, page and command line.
TEST_F(SavedScenario, GivesTheSameTraceInTheTerminal) {
  window.play("info-lines [\"1.1.2026\", \"2\"]");
  startWithPage();
  ASSERT_TRUE(pageSends("'\"first second\"'"));
  ASSERT_TRUE(pageSends("''"));
  QTest::mouseClick(&part<QToolButton>("float", learningDock()), Qt::LeftButton);
  QTest::mouseClick(&part<QToolButton>("close", learningDock()), Qt::LeftButton);
  QTest::mouseClick(button(), Qt::LeftButton);
  action("language:3").trigger();
  inDialog<QInputDialog>([](QInputDialog& dialog) {
    dialog.setTextValue(" Žlutý & kůň");
    dialog.accept();
  });
  action("askEntitlement").trigger();
  play({"fail Palette.isVisible 1 throw", "plant palette other"});
  window.dock("other")->close();
  for (const char* const name : {"offline", "again", "newUser"}) action(name).trigger();
  const QString path = folder.filePath("saved.txt");
  typeInFileDialog(path);
  action("saveExpecting").trigger();
  EXPECT_EQ(sentence(), "Saved in saved.txt.");
  const QByteArray scenario = contentOf(path);
  const QString traceFile = folder.filePath("terminal.trace");
  const ProgramResult ended = runProgram("substitute-host", {path, "--trace", traceFile});
  EXPECT_EQ(ended.status, 0) << ended.errors.toStdString() << ended.output.toStdString();
  EXPECT_GT(scenario.count("\nexpect "), 10);
  std::string all;
  for (const Json& entry : trace) all += line(entry) + '\n';
  EXPECT_EQ(contentOf(traceFile).toStdString(), all);
}

// A message is about the last command: the weightiest one of it.
TEST_F(StatusLine, TellsWhatCameOfTheLastCommand) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"offline", "", false},
      {"start", "run returned true", false},
      {"online", "", false},
      {"message \"first\"", "The add-in ran: open first", false},
      {"message ", "An exception left the add-in: std::out_of_range, ", true},
      {"fail Palette.isVisible", "", false},
      {"click", "The host failed: Palette:teachPalete.isVisible(true) = false  (planned)", false},
      {"expect /run false", "An expectation failed: expected /run false, found true", true},
      {"expect /run true", "", false},
      {"stop", "stop returned true", false},
      {"fail Application.userInterface", "", false},
      {"start", "run returned false", true},
  };
  const auto& label = part<ElidedLabel>("message");
  for (const auto& [line, told, isFailure] : cases) {
    window.play(line);
    EXPECT_EQ(window.message().isEmpty(), *told == '\0') << line;
    EXPECT_EQ(window.message().toStdString().rfind(told, 0), 0U) << line;
    EXPECT_EQ(label.foregroundRole() == QPalette::BrightText && *told != '\0', isFailure);
  }
}

TEST_F(StatusLine, HasTheHostsValuesInOneShortField) {
  const auto& values = part<QLabel>("values");
  EXPECT_TRUE(values.text().endsWith("●</span>&nbsp;online · Czech"));
  setCounter(1);
  window.play("start");
  EXPECT_TRUE(values.text().endsWith("online · Czech · 2 starts"));
  play({"language 17", "offline", "entitlement <b>"});
  EXPECT_TRUE(values.text().endsWith("offline · language 17 · 2 starts"));
  EXPECT_EQ(values.accessibleName(), "Host: offline, language 17, 2 starts");
  EXPECT_TRUE(values.toolTip().contains("&lt;b&gt;"));
}

}  // namespace
