// The trace panel: its lines of code, its filter, copying and saving.
#include "substitute/desktop/TracePanel.h"
#include "substitute/driver/Calls.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

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
