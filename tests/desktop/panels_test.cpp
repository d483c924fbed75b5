// The panels: the commands, which are listed, typed, played from scenarios and saved as one, and
// the trace; and the status bar, which tells what came of a command.
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/desktop/Widgets.h"
#include "substitute/driver/Calls.h"
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
  window.play("plant control own");
  press(Qt::Key_L, Qt::ControlModifier);
  for (const auto& [typed, proposed] :
       {std::pair("ca", "calls"), std::pair("click ", "click HelpGroupCommand")}) {
    field.clear();
    QTest::keyClicks(&field, typed);
    EXPECT_EQ(popup.model()->index(0, 0).data().toString(), proposed);
  }
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
    EXPECT_EQ(label.fullText().isEmpty(), *told == '\0') << line;
    EXPECT_EQ(label.fullText().toStdString().rfind(told, 0), 0U) << line;
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

constexpr int marginColumn = 0;
constexpr int codeColumn = 1;

class TraceList : public Desktop {
 protected:
  int rows() const { return list.model()->rowCount(); }
  QModelIndex cell(int row, int column) const { return list.model()->index(row, column); }
  QString margin(int row) const { return cell(row, marginColumn).data().toString(); }
  QString code(int row) const { return cell(row, codeColumn).data().toString(); }

  void select(int row) const {
    list.setFocus();
    list.setCurrentIndex(cell(row, marginColumn));
  }

  QTreeView& list = part<QTreeView>("traceList");
  QPlainTextEdit& detail = part<QPlainTextEdit>("traceDetail");
  QLineEdit& filter = part<QLineEdit>("traceFilter");
  TracePanel& panel = part<TracePanel>("trace");
};

TEST_F(TraceList, ShowsCallsAsCodeAndMarksWhatStandsOut) {
  // A null, an exception, an exception that leaves the add-in, and an `open`.
  play({"fail Palettes.itemById 1 null", "start", "fail Palette.isVisible 1 throw", "click",
        "message \"a b\"", "message "});
  ASSERT_EQ(rows(), static_cast<int>(trace.size()));
  QSet<QString> signs;
  for (int row = 0; row < rows(); ++row) {
    const Json& entry = trace[static_cast<std::size_t>(row)];
    const std::string event = entry.value("event", "");
    EXPECT_EQ(code(row).toStdString(), std::string(callLevel(entry) == 2 ? "  " : "") +
                                           callLine(entry, CallForm::shortened));
    const auto [sign, words] = entry.contains("fault") ? std::pair("×", "planned failure")
                               : event == "threw"      ? std::pair("!", "exception")
                               : event == "open"       ? std::pair("→", "run of open")
                                                       : std::pair("", "");
    const QString number = QString::number(row + 1);
    EXPECT_EQ(margin(row).remove(' '), sign + number) << line(entry);
    EXPECT_EQ(cell(row, marginColumn).data(Qt::AccessibleTextRole).toString().section(", ", 1),
              words);
    for (const int column : {marginColumn, codeColumn}) {
      EXPECT_EQ(cell(row, column).data(Qt::BackgroundRole).isValid(), *sign != '\0');
    }
    signs << sign;
  }
  EXPECT_EQ(signs.size(), 4);
}

TEST_F(TraceList, SelectedLineOpensBelowWholeWithOneArgumentALine) {
  const QString text(4096, 'x');
  panel.append({{"op", "Palettes.add"},
                {"on", "Palettes"},
                {"args", {"<h1>&amp;", text.toStdString(), true, "a\nb", 1}},
                {"result", nullptr}});
  panel.append({{"event", "run"}});
  EXPECT_FALSE(detail.isVisible());
  EXPECT_TRUE(code(0).contains("…\", true, \"a\\nb\", …) = null")) << code(0).toStdString();
  select(0);
  EXPECT_TRUE(detail.isVisible());
  EXPECT_EQ(detail.toPlainText(), "Palettes.add(\n  \"<h1>&amp;\",\n  \"" + text +
                                      "\",\n  true,\n  \"a\\nb\",\n  1\n) = null");
  // The list keeps its place.
  ASSERT_TRUE(waitUntil([this] { return detail.height() == panel.height() / 2; }));
  press(Qt::Key_Down);
  EXPECT_EQ(detail.toPlainText(), "run");
  ASSERT_TRUE(waitUntil([this] { return detail.height() < 60; }));
  list.clearSelection();
  EXPECT_FALSE(detail.isVisible());
}

TEST_F(TraceList, CopyTakesTheSelectedLinesAsJsonInTheirOrder) {
  window.play("start");
  EXPECT_FALSE(action("copyTrace").isEnabled());
  // Selected from below, without one row between.
  select(4);
  press(Qt::Key_Up, Qt::ShiftModifier);
  list.selectionModel()->select(cell(1, 0),
                                QItemSelectionModel::Select | QItemSelectionModel::Rows);
  press(Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text().toStdString(),
            line(trace[1]) + '\n' + line(trace[3]) + '\n' + line(trace[4]));
}

TEST_F(TraceList, SaveWritesTheTraceFileWhateverIsFiltered) {
  TraceFile file(folder.filePath("wanted").toStdString());
  file.begin(host);
  play({"start", "message \xff"});
  filter.setText("Palettes");
  typeInFileDialog(folder.filePath("saved"));
  action("saveTrace").trigger();
  EXPECT_GT(contentOf(folder.filePath("wanted")).size(), 1000);
  EXPECT_EQ(contentOf(folder.filePath("saved")), contentOf(folder.filePath("wanted")));
  panel.save("/proc/<b>trace");
  const QString said = part<QLabel>("commandMessage").text();
  EXPECT_TRUE(said.startsWith("The trace cannot be written to /proc/<b>trace: "));
}

TEST_F(TraceList, FilterTakesSeveralWords) {
  panel.append({{"op", "Palettes.add"}, {"args", {"Žlutý", 300, ".*"}}, {"result", nullptr}});
  panel.append({{"op", "Palettes.itemById"}, {"args", {"teachPalete"}}, {"result", nullptr}});
  const std::pair<const char*, const char*> cases[] = {{"", "12"},
                                                       {"  add   300 ", "1"},
                                                       {"žlutý", "1"},
                                                       {"add teachPalete", ""},
                                                       {".*", "1"},
                                                       {"itemById(\"teachPalete\")", "2"},
                                                       {"\"args\":[\"teach", "2"}};
  for (const auto& [words, shown] : cases) {
    filter.setText(QString::fromUtf8(words));
    QString numbers;
    for (int row = 0; row < rows(); ++row) numbers += margin(row);
    EXPECT_EQ(numbers, shown) << words;
  }
  EXPECT_EQ(part<QLabel>("count").text(), "1 of 2 lines");
}

TEST_F(TraceList, EnterLeadsFromTheFilterToALineAndEscapeBack) {
  window.play("start");
  panel.close();
  press(Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(filter.hasFocus());
  QTest::keyClicks(&filter, "Palettes.add");
  ASSERT_EQ(rows(), 1);
  press(Qt::Key_Return);
  EXPECT_TRUE(list.hasFocus());
  EXPECT_TRUE(detail.toPlainText().startsWith("Palettes.add("));
  press(Qt::Key_Escape);
  EXPECT_EQ(rows(), static_cast<int>(trace.size()));
  // The line is in sight.
  EXPECT_TRUE(waitUntil([this] {
    return list.viewport()->rect().contains(list.visualRect(list.currentIndex()).center());
  }));
  press(Qt::Key_Escape);
  EXPECT_FALSE(detail.isVisible());
}

TEST_F(TraceList, LineLeadsToItsCommand) {
  play({"# Not counted.", "start", "offline", "stop"});
  auto& commands = part<QDockWidget>("commands");
  const auto doubleClick = [this] {
    const QPoint place = list.visualRect(list.currentIndex()).center();
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, place);
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, place);
  };
  const std::tuple<int, std::function<void()>, const char*> ways[] = {
      {0, [] { press(Qt::Key_Return); }, "start\n"},
      {rows() - 1, [] { press(Qt::Key_Return, Qt::ControlModifier); }, "stop\n"},
      {0, doubleClick, "start\n"}};
  for (const auto& [row, way, output] : ways) {
    commands.close();
    select(row);
    way();
    EXPECT_TRUE(commands.isVisible());
    EXPECT_TRUE(part<QPlainTextEdit>("commandOutput").toPlainText().startsWith(output));
  }
}

TEST_F(TraceList, FollowsTheEndUnlessTheUserReadsAbove) {
  QScrollBar* const bar = list.verticalScrollBar();
  const auto append = [this] {
    for (int i = 0; i < 100; ++i) panel.append({{"event", "run"}});
  };
  // The list is laid out once for all of them: otherwise a long trace would slow the host down.
  const QSignalSpy laidOut(bar, &QScrollBar::rangeChanged);
  append();
  EXPECT_EQ(laidOut.size(), 0);
  EXPECT_TRUE(waitUntil([&] { return bar->maximum() > 0 && bar->value() == bar->maximum(); }));
  bar->setValue(10);
  append();
  EXPECT_TRUE(waitUntil([&] { return bar->maximum() > 150; }));
  EXPECT_EQ(bar->value(), 10);
}

}  // namespace
