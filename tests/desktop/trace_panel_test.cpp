// The trace panel: its rows, its filter, copying and saving.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QClipboard>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTreeView>
#include <algorithm>
#include <cstdlib>
#include <map>

#include "substitute/desktop/TraceModel.h"
#include "substitute/desktop/TracePanel.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class TraceList : public Desktop {
 protected:
  // Only an active window has focus and shortcuts.
  TraceList() {
    window.activateWindow();
    EXPECT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
  }

  // Causes a null, an exception, an exception that leaves the add-in, and an `open`.
  void playEveryKind() {
    window.play("fail Palettes.itemById 1 null");
    window.play("start");
    window.play("fail Palette.isVisible 1 throw");
    window.play("click");
    window.play("message \"a b\"");
    window.play("message ");
  }

  QAbstractItemModel& model() const { return *list->model(); }
  int rows() const { return model().rowCount(); }
  QString cell(int row, int column) const { return model().index(row, column).data().toString(); }
  QString mark(int row) const { return cell(row, TraceModel::mark); }

  // The first row with this mark; fails the test when there is none.
  int rowMarked(const QString& wanted) const {
    for (int row = 0; row < rows(); ++row) {
      if (mark(row) == wanted) return row;
    }
    ADD_FAILURE() << "no row is marked " << wanted.toStdString();
    return 0;
  }

  void select(int row) {
    list->selectionModel()->setCurrentIndex(
        model().index(row, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  }

  QString linesOf(const std::vector<std::size_t>& entries) const {
    QStringList lines;
    for (const std::size_t entry : entries) lines << QString::fromStdString(line(trace.at(entry)));
    return lines.join('\n');
  }

  // The content of the clipboard after Ctrl+C.
  static QString copied(QWidget* from) {
    QApplication::clipboard()->setText("nothing");
    QTest::keyClick(from, Qt::Key_C, Qt::ControlModifier);
    return QApplication::clipboard()->text();
  }

  // Types `path` in the dialog of "Save trace…".
  void saveTo(const QString& path) {
    action("saveTrace").trigger();
    auto* const dialog = panel->findChild<QFileDialog*>();
    ASSERT_NE(dialog, nullptr);
    auto* const name = dialog->findChild<QLineEdit*>("fileNameEdit");
    ASSERT_NE(name, nullptr);
    name->selectAll();
    name->insert(path);
    QTest::keyClick(name, Qt::Key_Return);
    EXPECT_FALSE(dialog->isVisible());
  }

  TracePanel* panel = window.findChild<TracePanel*>();
  QTreeView* list = panel->findChild<QTreeView*>("traceList");
  QPlainTextEdit* detail = panel->findChild<QPlainTextEdit*>("traceDetail");
  QLineEdit* filter = panel->findChild<QLineEdit*>("traceFilter");
};

TEST_F(TraceList, ShowsTheSelectedLineWholeAsPlainText) {
  panel->append({{"op", "Palettes.add"},
                 {"on", "Palettes"},
                 {"args", {"<h1>big</h1>", std::string(4096, 'x'), true, "two\nlines"}},
                 {"result", nullptr},
                 {"fault", "null"}});
  panel->append({{"event", "threw"}, {"type", "std::out_of_range"}, {"what", "<b>gone</b>"}});
  EXPECT_EQ(detail->toPlainText(), "");
  list->setFocus();
  QTest::keyClick(list, Qt::Key_Home);
  EXPECT_EQ(detail->toPlainText(),
            "Call: Palettes.add\n"
            "On: Palettes\n"
            "Argument 1: \"<h1>big</h1>\"\n"
            "Argument 2: \"" +
                QString(4096, 'x') +
                "\"\n"
                "Argument 3: true\n"
                "Argument 4: \"two\\nlines\"\n"
                "Result: null\n"
                "Fault: null");
  // The long argument wraps, and what is below it is scrolled to.
  EXPECT_EQ(detail->horizontalScrollBar()->maximum(), 0);
  EXPECT_GT(detail->verticalScrollBar()->maximum(), 0);
  QTest::keyClick(list, Qt::Key_Down);
  EXPECT_EQ(detail->toPlainText(), "Event: threw\nType: std::out_of_range\nWhat: \"<b>gone</b>\"");
  for (int column = 0; column < model().columnCount(); ++column) {
    EXPECT_FALSE(model().index(0, column).data(Qt::ToolTipRole).isValid());
  }
}

TEST_F(TraceList, DetailIsReadByAScreenReader) {
  window.play("start");
  select(0);
  QAccessibleInterface* const spoken = QAccessible::queryAccessibleInterface(detail);
  ASSERT_NE(spoken, nullptr);
  EXPECT_EQ(spoken->text(QAccessible::Name), "The selected line of the trace");
  EXPECT_TRUE(spoken->state().readOnly);
  EXPECT_EQ(spoken->text(QAccessible::Value), "Event: run");
}

TEST_F(TraceList, TabLeadsFromTheListThroughTheDetail) {
  window.play("start");
  list->setFocus();
  select(0);
  QTest::keyClick(list, Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), detail);
  QTest::keyClick(detail, Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(copied(detail), "Event: run");
  QTest::keyClick(detail, Qt::Key_Tab);
  EXPECT_NE(QApplication::focusWidget(), detail);
}

TEST_F(TraceList, ColumnsAreWidenedAndScrolledTo) {
  window.play("start");
  QHeaderView* const header = list->header();
  for (int column = 0; column < header->count(); ++column) {
    SCOPED_TRACE(column);
    EXPECT_EQ(header->sectionResizeMode(column), QHeaderView::Interactive);
    const int right = header->sectionViewportPosition(column) + header->sectionSize(column);
    const QPoint edge(right - 1, header->height() / 2);
    const QPoint target(right + 200, header->height() / 2);
    const int width = header->sectionSize(column);
    QTest::mousePress(header->viewport(), Qt::LeftButton, {}, edge);
    QTest::mouseMove(header->viewport(), target);
    QTest::mouseRelease(header->viewport(), Qt::LeftButton, {}, target);
    EXPECT_EQ(header->sectionSize(column), width + 201);
  }
  EXPECT_TRUE(list->horizontalScrollBar()->isVisible());
  EXPECT_TRUE(waitUntil([&] {
    list->horizontalScrollBar()->setValue(list->horizontalScrollBar()->maximum());
    const int last = TraceModel::result;
    const int right = header->sectionViewportPosition(last) + header->sectionSize(last);
    return right == list->viewport()->width();
  }));
}

TEST_F(TraceList, CopyTakesTheSelectedLinesInTheOrderOfTheTrace) {
  playEveryKind();
  list->setFocus();
  // Selected from below, without one row between.
  select(4);
  QTest::keyClick(list, Qt::Key_Up, Qt::ShiftModifier);
  QTest::keyClick(list, Qt::Key_Up, Qt::ControlModifier);
  QTest::keyClick(list, Qt::Key_Up, Qt::ControlModifier);
  QTest::keyClick(list, Qt::Key_Space, Qt::ControlModifier);
  EXPECT_EQ(copied(list), linesOf({1, 3, 4}));
  const auto threw = static_cast<std::size_t>(rowMarked("! threw"));
  select(rowMarked("! threw"));
  action("copyTrace").trigger();
  EXPECT_EQ(QApplication::clipboard()->text(), linesOf({threw}));
  EXPECT_TRUE(list->actions().contains(&action("copyTrace")));
  EXPECT_EQ(list->contextMenuPolicy(), Qt::ActionsContextMenu);
  list->clearSelection();
  EXPECT_FALSE(action("copyTrace").isEnabled());
}

TEST_F(TraceList, SaveWritesTheTraceFileAlsoAfterClear) {
  TraceFile file(folder.filePath("wanted").toStdString());
  file.begin(host);
  playEveryKind();
  window.play("message \xff");
  action("clearTrace").trigger();
  EXPECT_EQ(rows(), 0);
  EXPECT_EQ(detail->toPlainText(), "");
  window.play("stop");
  EXPECT_GT(rows(), 0);
  filter->setText("Palettes");
  saveTo(folder.filePath("saved"));
  ASSERT_TRUE(file.good());
  EXPECT_GT(contentOf(folder.filePath("wanted")).size(), 1000);
  EXPECT_EQ(contentOf(folder.filePath("saved")), contentOf(folder.filePath("wanted")));
}

TEST_F(TraceList, SaveSaysThatAFileCannotBeWritten) {
  window.play("start");
  saveTo("/proc/<b>trace");
  auto* const box = panel->findChild<QMessageBox*>();
  ASSERT_NE(box, nullptr);
  EXPECT_TRUE(box->text().startsWith("The trace cannot be written to /proc/<b>trace: "))
      << box->text().toStdString();
  EXPECT_EQ(box->textFormat(), Qt::PlainText);
  QTest::keyClick(box, Qt::Key_Escape);
  EXPECT_FALSE(box->isVisible());
  EXPECT_EQ(rows(), static_cast<int>(trace.size()));
}

TEST_F(TraceList, MarksDistinguishFailuresAndOpen) {
  playEveryKind();
  ASSERT_EQ(rows(), static_cast<int>(trace.size()));
  std::map<QString, int> counts;
  for (int row = 0; row < rows(); ++row) {
    const Json& entry = trace[static_cast<std::size_t>(row)];
    const std::string event = entry.value("event", "");
    const QString wanted = entry.contains("fault") ? "× " + QString::fromStdString(entry["fault"])
                           : event == "threw"      ? "! threw"
                           : event == "open"       ? "→ open"
                                                   : "";
    EXPECT_EQ(mark(row), wanted) << line(entry);
    ++counts[wanted];
  }
  EXPECT_EQ(counts.size(), 5U);
  const QFontMetrics font(list->font());
  const std::map<QString, QString> spoken = {{"× null", "failed, returned null"},
                                             {"× throw", "failed, threw"},
                                             {"! threw", "an exception left the add-in"},
                                             {"→ open", "the add-in ran open"}};
  QAccessibleInterface* const table = QAccessible::queryAccessibleInterface(list);
  ASSERT_NE(table, nullptr);
  ASSERT_NE(table->tableInterface(), nullptr);
  ASSERT_TRUE(waitUntil([&] { return table->tableInterface()->rowCount() == rows(); }));
  for (const auto& [sign, words] : spoken) {
    EXPECT_TRUE(font.inFont(sign[0])) << sign.toStdString();
    QAccessibleInterface* const cell =
        table->tableInterface()->cellAt(rowMarked(sign), TraceModel::mark);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->text(QAccessible::Name), words);
  }
}

// The colour of most pixels, and that of the pixel that differs most from it.
std::pair<QColor, QColor> groundAndText(const QImage& picture) {
  std::map<QRgb, int> counts;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) ++counts[picture.pixel(x, y)];
  }
  const QColor ground =
      std::max_element(counts.begin(), counts.end(), [](const auto& one, const auto& other) {
        return one.second < other.second;
      })->first;
  const QColor text =
      std::max_element(counts.begin(), counts.end(), [&](const auto& one, const auto& other) {
        return contrast(one.first, ground) < contrast(other.first, ground);
      })->first;
  return {ground, text};
}

TEST_F(TraceList, ColoursHaveContrast) {
  EXPECT_EQ(contrast(Qt::black, Qt::white), 21);
  EXPECT_NEAR(contrast(QColor("#777777"), Qt::white), 4.48, 0.01);
  playEveryKind();
  // Thick strokes, which have pixels of the text's full colour.
  QFont large = list->font();
  large.setPointSize(28);
  large.setBold(true);
  list->setFont(large);
  for (int column = 0; column < model().columnCount(); ++column) list->setColumnWidth(column, 400);
  std::map<QString, QRgb> colours;
  const int event = 0;
  for (const int row : {event, 1, rowMarked("× null"), rowMarked("× throw"), rowMarked("! threw"),
                        rowMarked("→ open")}) {
    for (const int column : {TraceModel::number, TraceModel::call}) {
      SCOPED_TRACE(std::to_string(row) + ", " + std::to_string(column));
      const QModelIndex index = model().index(row, column);
      list->scrollTo(index);
      list->clearSelection();
      const auto [ground, text] =
          groundAndText(list->viewport()->grab(list->visualRect(index)).toImage());
      EXPECT_EQ(ground, list->palette().color(QPalette::Base));
      EXPECT_EQ(text, index.data(Qt::ForegroundRole).value<QBrush>().color());
      EXPECT_GE(contrast(ground, text), 4.5);
      if (column == TraceModel::call) colours[mark(row)] = text.rgb();
      list->selectionModel()->select(
          index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
      const auto [chosen, textOnIt] =
          groundAndText(list->viewport()->grab(list->visualRect(index)).toImage());
      EXPECT_NE(chosen, ground);
      EXPECT_GE(contrast(chosen, textOnIt), 4.5);
    }
  }
  // The last row without a mark is that of a plain call.
  EXPECT_EQ(colours[""], list->palette().color(QPalette::Text).rgb());
  EXPECT_NE(colours["× null"], colours[""]);
  EXPECT_NE(colours["→ open"], colours[""]);
  EXPECT_NE(colours["→ open"], colours["× null"]);
}

// The position of the text in a picture.
QRect textIn(const QImage& picture) {
  const auto [ground, text] = groundAndText(picture);
  QRegion found;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      const int value = qGray(picture.pixel(x, y));
      if (std::abs(value - qGray(text.rgb())) < std::abs(value - qGray(ground.rgb()))) {
        found += QRect(x, y, 1, 1);
      }
    }
  }
  return found.boundingRect();
}

TEST_F(TraceList, SelectedRowKeepsItsTextInPlace) {
  playEveryKind();
  const int row = rowMarked("× null");
  list->scrollTo(model().index(row, 0));
  for (const int column : {TraceModel::number, TraceModel::mark, TraceModel::call}) {
    SCOPED_TRACE(column);
    const QRect place = list->visualRect(model().index(row, column));
    list->clearSelection();
    const QImage plain = list->viewport()->grab(place).toImage();
    list->selectionModel()->select(model().index(row, 0),
                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    const QImage selected = list->viewport()->grab(place).toImage();
    EXPECT_NE(plain, selected);
    EXPECT_GT(textIn(plain).width(), 5);
    EXPECT_GE(textIn(plain).left(), 3) << "no space before the text";
    EXPECT_EQ(textIn(plain), textIn(selected));
  }
}

TEST_F(TraceList, FilterTakesSeveralWords) {
  panel->append({{"op", "Palettes.add"}, {"on", "Palettes"}, {"args", {"Žlutý", 300, ".*"}}});
  panel->append({{"op", "Palettes.itemById"}, {"on", "Palettes"}, {"args", {"teachPalete"}}});
  panel->append({{"event", "open"}, {"args", {"https://a"}}});
  const auto shown = [this](const char* words) {
    filter->selectAll();
    filter->insert(QString::fromUtf8(words));
    QStringList calls;
    for (int row = 0; row < rows(); ++row) calls << cell(row, TraceModel::call);
    return calls.join(' ').toStdString();
  };
  EXPECT_EQ(shown(""), "Palettes.add Palettes.itemById open");
  EXPECT_EQ(shown("palettes"), "Palettes.add Palettes.itemById");
  EXPECT_EQ(shown("300 ADD"), "Palettes.add");
  EXPECT_EQ(shown("  add   300 "), "Palettes.add");
  EXPECT_EQ(shown("add teachPalete"), "");
  EXPECT_EQ(shown("žlutý"), "Palettes.add");
  EXPECT_EQ(shown(".*"), "Palettes.add");
  EXPECT_EQ(shown("(?="), "");
  EXPECT_EQ(shown("→"), "open");
  EXPECT_EQ(shown("\"args\":[\"https"), "open");
  EXPECT_EQ(panel->findChild<QLabel*>("count")->text(), "1 of 3 lines");
}

TEST_F(TraceList, KeysFindAndClearTheFilter) {
  window.play("start");
  panel->close();
  QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(panel->isVisible());
  EXPECT_EQ(QApplication::focusWidget(), filter);
  QTest::keyClicks(filter, "no such line");
  EXPECT_EQ(rows(), 0);
  QTest::keyClick(filter, Qt::Key_Escape);
  EXPECT_EQ(filter->text(), "");
  EXPECT_EQ(rows(), static_cast<int>(trace.size()));
  QTest::keyClicks(filter, "run");
  QTest::keyClick(filter, Qt::Key_Return);
  EXPECT_EQ(QApplication::focusWidget(), list);
  QTest::keyClick(list, Qt::Key_Escape);
  EXPECT_EQ(filter->text(), "");
  // The tooltips show the keys.
  EXPECT_TRUE(filter->toolTip().contains("Ctrl+F"));
  EXPECT_TRUE(action("showCommand").toolTip().contains("Ctrl+Return"));
  const std::pair<const char*, const char*> keys[] = {{"findInTrace", "Ctrl+F"},
                                                      {"clearTraceFilter", "Esc"},
                                                      {"copyTrace", "Ctrl+C"},
                                                      {"showCommand", "Ctrl+Return"}};
  for (const auto& [name, key] : keys) EXPECT_EQ(action(name).shortcut().toString(), key) << name;
}

TEST_F(TraceList, LineLeadsToItsCommand) {
  panel->append({{"event", "run"}}, 7);
  panel->append({{"event", "stop"}});
  const QSignalSpy requested(panel, &TracePanel::commandRequested);
  list->setFocus();
  select(0);
  QTest::keyClick(list, Qt::Key_Return);
  EXPECT_EQ(requested.size(), 1);
  QTest::keyClick(list, Qt::Key_Return, Qt::ControlModifier);
  EXPECT_EQ(requested.size(), 2);
  const QPoint place = list->visualRect(model().index(0, TraceModel::call)).center();
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place);
  QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, place);
  EXPECT_EQ(requested.size(), 3);
  for (const QVariantList& values : requested) EXPECT_EQ(values, QVariantList{7});
  // A line without a command has no command to show.
  select(1);
  EXPECT_FALSE(action("showCommand").isEnabled());
  QTest::keyClick(list, Qt::Key_Return);
  QTest::keyClick(list, Qt::Key_Return, Qt::ControlModifier);
  EXPECT_EQ(requested.size(), 3);
}

TEST_F(TraceList, FollowsTheEndUnlessTheUserReadsAbove) {
  QScrollBar* const bar = list->verticalScrollBar();
  const auto append = [this] {
    for (int i = 0; i < 100; ++i) panel->append({{"event", "run"}});
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
