#include "substitute/desktop/TracePanel.h"

#include <QAction>
#include <QClipboard>
#include <QFileDialog>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <optional>

#include "substitute/desktop/Widgets.h"
#include "substitute/driver/Calls.h"

namespace substitute {

namespace {

// Matches strings that contain all of the words, in any order and case.
QRegularExpression matchingAllWords(const QString& words) {
  QString pattern;
  for (const QString& word : words.split(QRegularExpression("\\s+"), Qt::SkipEmptyParts)) {
    pattern += "(?=.*" + QRegularExpression::escape(word) + ")";
  }
  return QRegularExpression("\\A" + pattern, QRegularExpression::CaseInsensitiveOption |
                                                 QRegularExpression::DotMatchesEverythingOption);
}

// What is kept of an entry, at the item with its line of code.
enum Role { jsonRole = Qt::UserRole, searchRole, commandRole };

constexpr int codeColumn = 1;

// How an entry stands out. The sign says the same as the tint, for users who do not see the tint.
struct Mark {
  const char* sign;  // every font has it
  QString spoken;    // what a screen reader reads out
  QPalette::ColorRole tint;
};

std::optional<Mark> markOf(const Json& entry) {
  const std::string event = entry.value("event", "");
  if (entry.contains("fault")) {
    return Mark{"×", TracePanel::tr("planned failure"), QPalette::BrightText};
  }
  if (event == "threw") return Mark{"!", TracePanel::tr("exception"), QPalette::BrightText};
  if (event == "open") return Mark{"→", TracePanel::tr("run of open"), QPalette::Link};
  return {};
}

QString codeOf(const Json& entry, CallForm form) {
  return QString::fromStdString(callLine(entry, form));
}

}  // namespace

TracePanel::TracePanel()
    : QDockWidget(tr("Trace")),
      rows_(new QStandardItemModel(0, 2, this)),
      filtered_(new QSortFilterProxyModel(this)),
      filter_(new QLineEdit),
      count_(new QLabel),
      detail_(readOnlyText("traceDetail", tr("The selected line of the trace"))) {
  setObjectName("trace");
  setFeatures(DockWidgetClosable);
  filtered_->setSourceModel(rows_);
  filtered_->setFilterRole(searchRole);
  filtered_->setFilterKeyColumn(codeColumn);
  list_ = lineList("traceList", tr("Trace"), filtered_);
  makeActions();
  makeTitleBar();
  makeParts();
  refreshCount();
  refreshDetail();
}

void TracePanel::append(const Json& entry, int command) {
  const QString json = QString::fromStdString(line(entry));
  json_ += json.toUtf8() + '\n';
  const QString number = QString::number(rows_->rowCount() + 1);
  auto* const margin = new QStandardItem(number);
  const QString indent = QString("  ").repeated(callLevel(entry) - 1);
  auto* const code = new QStandardItem(indent + codeOf(entry, CallForm::shortened));
  margin->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
  margin->setForeground(palette().placeholderText());
  if (const std::optional<Mark> mark = markOf(entry)) {
    QColor tint = palette().color(mark->tint);
    tint.setAlphaF(0.14F);
    margin->setText(mark->sign + (' ' + number));
    margin->setData(QString(number + ", " + mark->spoken), Qt::AccessibleTextRole);
    margin->setForeground(palette().text());
    for (QStandardItem* const item : {margin, code}) item->setBackground(tint);
  }
  code->setData(json, jsonRole);
  code->setData(QString(json + '\n' + codeOf(entry, CallForm::full)), searchRole);
  code->setData(command, commandRole);
  rows_->appendRow({margin, code});
  refreshCount();
}

void TracePanel::save(const QString& path) {
  Q_EMIT reported(saveFile(tr("The trace"), path, json_));
}

void TracePanel::makeActions() {
  addPanelAction("findInTrace", tr("&Find in trace"), QKeySequence::Find, &TracePanel::find);
  addPanelAction("clearTraceFilter", tr("Show &all lines"), Qt::Key_Escape, &TracePanel::escape)
      ->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  copy_ = addPanelAction("copyTrace", tr("&Copy as JSON"), QKeySequence::Copy, &TracePanel::copy);
  copy_->setShortcutContext(Qt::WidgetShortcut);  // the list; the detail copies its own text
  showCommand_ = addPanelAction("showCommand", tr("Show c&ommand"), Qt::CTRL | Qt::Key_Return,
                                &TracePanel::showCommand);
  addPanelAction("saveTrace", tr("&Save trace…"), {}, &TracePanel::askWhereToSave);
}

QAction* TracePanel::addPanelAction(const char* name, const QString& text,
                                    const QKeySequence& shortcut, void (TracePanel::*done)()) {
  QAction* const action = addAction(text, shortcut, this, done);
  action->setObjectName(name);
  return action;
}

void TracePanel::makeTitleBar() {
  filter_->setObjectName("traceFilter");
  filter_->setAccessibleName(tr("Filter of the trace"));
  filter_->setPlaceholderText(tr("Filter, such as palette add"));
  filter_->setToolTip(tr("Shows the lines that hold all of these words (Ctrl+F)"));
  filter_->setClearButtonEnabled(true);
  filter_->setMaximumWidth(260);
  filter_->findChild<QAction*>("_q_qlineeditclearaction")->setText(tr("Show all lines"));
  connect(filter_, &QLineEdit::textChanged, this, &TracePanel::filter);
  connect(filter_, &QLineEdit::returnPressed, this, &TracePanel::leaveFilter);
  count_->setObjectName("count");
  setTitleBar(*this, tr("Hide the trace"), {filter_, count_});
}

void TracePanel::makeParts() {
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  // The list scrolls to its end, unless the user has scrolled up. The range changes once for all
  // lines that were appended together.
  QScrollBar* const bar = list_->verticalScrollBar();
  connect(bar, &QScrollBar::valueChanged, this,
          [this, bar](int value) { followsEnd_ = value == bar->maximum(); });
  connect(bar, &QScrollBar::rangeChanged, this, [this, bar](int /*least*/, int most) {
    if (followsEnd_) bar->setValue(most);
  });
  list_->setContextMenuPolicy(Qt::ActionsContextMenu);
  list_->addActions({copy_, showCommand_});
  connect(list_, &QTreeView::activated, showCommand_, &QAction::trigger);
  const QItemSelectionModel* const selection = list_->selectionModel();
  connect(selection, &QItemSelectionModel::selectionChanged, this, &TracePanel::refreshDetail);
  connect(selection, &QItemSelectionModel::currentChanged, this, &TracePanel::refreshDetail);
  detail_->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  auto* const body = new QWidget;
  QVBoxLayout* const column = makeColumn(*body);
  column->addWidget(list_, 1);
  column->addWidget(detail_);
  setWidget(body);
}

void TracePanel::find() {
  show();
  raise();
  filter_->setFocus(Qt::ShortcutFocusReason);
  filter_->selectAll();
}

// Goes from the filter to the first line that it shows, or to the selected one.
void TracePanel::leaveFilter() {
  list_->setFocus(Qt::ShortcutFocusReason);
  if (!list_->selectionModel()->hasSelection()) list_->setCurrentIndex(filtered_->index(0, 0));
}

// Shows all lines again, with the selected one in sight. When all are shown, selects none.
void TracePanel::escape() {
  list_->setFocus(Qt::ShortcutFocusReason);
  if (filter_->text().isEmpty()) return list_->clearSelection();
  filter_->clear();
  if (list_->selectionModel()->hasSelection()) list_->scrollTo(list_->currentIndex());
}

void TracePanel::copy() {
  QModelIndexList rows = list_->selectionModel()->selectedRows();
  std::sort(rows.begin(), rows.end());  // they are in the order of selection
  QStringList lines;
  for (const QModelIndex& row : rows)
    lines << row.siblingAtColumn(codeColumn).data(jsonRole).toString();
  QGuiApplication::clipboard()->setText(lines.join('\n'));
}

void TracePanel::showCommand() {
  const int command = dataOfCurrent(commandRole).toInt();
  if (command > 0) Q_EMIT commandRequested(command);
}

void TracePanel::askWhereToSave() {
  const QString path = QFileDialog::getSaveFileName(this, tr("Save trace"), "trace.jsonl");
  if (!path.isEmpty()) save(path);
}

void TracePanel::filter(const QString& words) {
  filtered_->setFilterRegularExpression(matchingAllWords(words));
  refreshCount();
}

void TracePanel::refreshCount() {
  const int all = rows_->rowCount();
  const int now = filtered_->rowCount();
  count_->setText(now == all ? tr("%1 lines").arg(all) : tr("%1 of %2 lines").arg(now).arg(all));
}

void TracePanel::refreshDetail() {
  const bool isSelected = list_->selectionModel()->hasSelection();
  copy_->setEnabled(isSelected);
  showCommand_->setEnabled(dataOfCurrent(commandRole).toInt() > 0);
  const Json entry = Json::parse(dataOfCurrent(jsonRole).toString().toStdString(), nullptr, false);
  detail_->setPlainText(isSelected ? codeOf(entry, CallForm::spread) : QString());
  detail_->setVisible(isSelected);
  if (isSelected) QTimer::singleShot(0, this, &TracePanel::fitDetail);
}

// Makes the detail as high as its lines, at most half of the panel, and keeps the line in sight.
void TracePanel::fitDetail() {
  const int lines = static_cast<int>(detail_->document()->size().height()) + 1;
  detail_->setFixedHeight(std::min(lines * detail_->fontMetrics().lineSpacing(), height() / 2));
  list_->scrollTo(list_->currentIndex());
}

QVariant TracePanel::dataOfCurrent(int role) const {
  return list_->currentIndex().siblingAtColumn(codeColumn).data(role);
}

}  // namespace substitute
