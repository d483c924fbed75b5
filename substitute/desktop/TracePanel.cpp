#include "substitute/desktop/TracePanel.h"

#include <QAction>
#include <QClipboard>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QSaveFile>
#include <QScrollBar>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QToolButton>
#include <QTreeView>
#include <algorithm>

#include "substitute/desktop/Theme.h"
#include "substitute/desktop/TraceModel.h"

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

QString withShortcut(const QString& text, const QKeySequence& shortcut) {
  return QStringLiteral("%1 (%2)").arg(text, shortcut.toString(QKeySequence::NativeText));
}

}  // namespace

TracePanel::TracePanel(QWidget* parent)
    : QDockWidget(tr("Trace"), parent),
      trace_(new TraceModel(this)),
      filtered_(new QSortFilterProxyModel(this)),
      filter_(new QLineEdit),
      count_(new QLabel),
      list_(new QTreeView),
      detail_(new QPlainTextEdit) {
  setObjectName("trace");
  setFeatures(DockWidgetClosable);
  filtered_->setSourceModel(trace_);
  filtered_->setFilterRole(TraceModel::searchRole);
  filtered_->setFilterKeyColumn(0);
  makeActions();
  makeTitleBar();
  makeList();
  makeDetail();
  auto* const split = new QSplitter;
  split->setObjectName("traceSplitter");
  split->addWidget(list_);
  split->addWidget(detail_);
  split->setSizes({700, 300});
  split->setStretchFactor(0, 7);
  split->setStretchFactor(1, 3);
  split->setChildrenCollapsible(false);
  setWidget(split);
  refreshCount();
  refreshDetail();
}

void TracePanel::append(const Json& entry, int command) {
  trace_->append(entry, command);
  refreshCount();
}

void TracePanel::makeTitleBar() {
  auto* const bar = new QWidget;
  bar->setObjectName("titleBar");
  bar->setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(bar);
  row->setContentsMargins(12, 4, 6, 4);
  row->addWidget(new QLabel(tr("Trace")));
  row->addSpacing(12);
  filter_->setObjectName("traceFilter");
  filter_->setAccessibleName(tr("Filter of the trace"));
  filter_->setPlaceholderText(tr("Filter, such as palette add"));
  filter_->setToolTip(withShortcut(tr("Shows the lines that hold all of these words"),
                                   QKeySequence(QKeySequence::Find)));
  filter_->setClearButtonEnabled(true);
  filter_->setMaximumWidth(260);
  connect(filter_, &QLineEdit::textChanged, this, &TracePanel::filter);
  connect(filter_, &QLineEdit::returnPressed, list_, qOverload<>(&QWidget::setFocus));
  row->addWidget(filter_, 1);
  count_->setObjectName("count");
  row->addWidget(count_);
  row->addStretch(1);
  auto* const clear = new QToolButton;
  clear->setObjectName("clear");
  clear->setDefaultAction(clear_);
  row->addWidget(clear);
  auto* const close = new QToolButton;
  close->setObjectName("close");
  close->setToolTip(tr("Hide the trace"));
  close->setAccessibleName(close->toolTip());
  close->setIcon(drawnIcon(Drawing::cross, palette().color(QPalette::WindowText)));
  connect(close, &QToolButton::clicked, this, &QWidget::close);
  row->addWidget(close);
  setTitleBarWidget(bar);
}

void TracePanel::makeList() {
  list_->setObjectName("traceList");
  list_->setAccessibleName(tr("Trace"));
  list_->setModel(filtered_);
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSizeF(font.pointSizeF() - 1);  // for the long names of the calls
  list_->setFont(font);
  QHeaderView* const header = list_->header();
  header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  header->setStretchLastSection(false);
  const std::pair<int, int> widths[] = {{TraceModel::number, 40},     {TraceModel::mark, 58},
                                        {TraceModel::call, 190},      {TraceModel::object, 120},
                                        {TraceModel::arguments, 150}, {TraceModel::result, 120}};
  for (const auto& [column, width] : widths) header->resizeSection(column, width);
  list_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  // The list scrolls to its end, unless the user has scrolled up. The range changes once for all
  // lines that were appended together.
  QScrollBar* const bar = list_->verticalScrollBar();
  connect(bar, &QScrollBar::valueChanged, this,
          [this, bar](int value) { followsEnd_ = value == bar->maximum(); });
  connect(bar, &QScrollBar::rangeChanged, this, [this, bar](int /*least*/, int most) {
    if (followsEnd_) bar->setValue(most);
  });
  list_->setContextMenuPolicy(Qt::ActionsContextMenu);
  list_->addActions({copy_, showCommand_, nextColumn_, previousColumn_});
  connect(list_, &QTreeView::activated, showCommand_, &QAction::trigger);
  const QItemSelectionModel* const selection = list_->selectionModel();
  connect(selection, &QItemSelectionModel::currentRowChanged, this, &TracePanel::refreshDetail);
  connect(selection, &QItemSelectionModel::selectionChanged, this, &TracePanel::refreshDetail);
}

void TracePanel::makeDetail() {
  detail_->setObjectName("traceDetail");
  detail_->setAccessibleName(tr("The selected line of the trace"));
  detail_->setPlaceholderText(tr("Select a line to read all of it here."));
  detail_->setReadOnly(true);
  detail_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  detail_->setTabChangesFocus(true);
  detail_->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  detail_->setFont(list_->font());
}

void TracePanel::makeActions() {
  addPanelAction("findInTrace", tr("&Find in trace"), QKeySequence::Find, &TracePanel::find);
  addPanelAction("clearTraceFilter", tr("Show &all lines"), Qt::Key_Escape,
                 &TracePanel::clearFilter)
      ->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  copy_ = addPanelAction("copyTrace", tr("&Copy as JSON"), QKeySequence::Copy, &TracePanel::copy);
  copy_->setShortcutContext(Qt::WidgetShortcut);  // the list; the detail copies its own text
  showCommand_ = addPanelAction("showCommand", tr("Show c&ommand"),
                                QKeySequence(Qt::CTRL | Qt::Key_Return), &TracePanel::showCommand);
  showCommand_->setToolTip(
      withShortcut(tr("Goes to the command that caused the line"), showCommand_->shortcut()));
  // Left and Right scroll, since a whole line is selected.
  nextColumn_ = addPanelAction("nextColumn", tr("Ne&xt column"),
                               QKeySequence(Qt::ALT | Qt::Key_Right), &TracePanel::goToNextColumn);
  previousColumn_ =
      addPanelAction("previousColumn", tr("&Previous column"), QKeySequence(Qt::ALT | Qt::Key_Left),
                     &TracePanel::goToPreviousColumn);
  for (QAction* const action : {nextColumn_, previousColumn_}) {
    action->setShortcutContext(Qt::WidgetShortcut);
  }
  addPanelAction("saveTrace", tr("&Save trace…"), {}, &TracePanel::askWhereToSave);
  clear_ = addPanelAction("clearTrace", tr("C&lear"), {}, &TracePanel::clear);
  clear_->setToolTip(tr("Empties the list. The saved trace still holds all lines."));
}

QAction* TracePanel::addPanelAction(const QString& name, const QString& text,
                                    const QKeySequence& shortcut, void (TracePanel::*done)()) {
  auto* const action = new QAction(text, this);
  action->setObjectName(name);
  action->setShortcut(shortcut);
  connect(action, &QAction::triggered, this, done);
  addAction(action);
  return action;
}

void TracePanel::find() {
  show();
  filter_->setFocus(Qt::ShortcutFocusReason);
  filter_->selectAll();
}

void TracePanel::clearFilter() {
  filter_->clear();
}

void TracePanel::copy() {
  QModelIndexList rows = list_->selectionModel()->selectedRows();
  std::sort(rows.begin(), rows.end());  // they are in the order of selection
  QStringList lines;
  for (const QModelIndex& row : rows) lines << row.data(TraceModel::lineRole).toString();
  QGuiApplication::clipboard()->setText(lines.join('\n'));
}

void TracePanel::showCommand() {
  if (currentCommand() >= 0) Q_EMIT commandRequested(currentCommand());
}

void TracePanel::goToColumn(int step) {
  const QModelIndex now = list_->currentIndex();
  const QModelIndex next =
      now.isValid() ? now.siblingAtColumn(now.column() + step) : list_->indexAt(QPoint(0, 0));
  if (!next.isValid()) return;
  list_->selectionModel()->setCurrentIndex(next, QItemSelectionModel::NoUpdate);
  list_->scrollTo(next);
}

void TracePanel::askWhereToSave() {
  auto* const dialog = new QFileDialog(this, tr("Save trace"));
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->selectFile("trace.jsonl");
  connect(dialog, &QFileDialog::fileSelected, this, &TracePanel::save);
  dialog->open();
}

void TracePanel::save(const QString& path) {
  QSaveFile file(path);
  if (file.open(QIODevice::WriteOnly)) {
    file.write(trace_->allLines());
    if (file.commit()) return;
  }
  auto* const box =
      new QMessageBox(QMessageBox::Warning, tr("Save trace"),
                      tr("The trace cannot be written to %1: %2.").arg(path, file.errorString()),
                      QMessageBox::Close, this);
  box->setTextFormat(Qt::PlainText);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

void TracePanel::clear() {
  trace_->clear();
  refreshCount();
  refreshDetail();  // a reset of the model emits no change of the selection
}

void TracePanel::filter(const QString& words) {
  filtered_->setFilterRegularExpression(matchingAllWords(words));
  refreshCount();
}

void TracePanel::refreshCount() {
  const int all = trace_->rowCount();
  const int now = filtered_->rowCount();
  count_->setText(now == all ? tr("%1 lines").arg(all) : tr("%1 of %2 lines").arg(now).arg(all));
}

void TracePanel::refreshDetail() {
  const QModelIndex line = list_->currentIndex();
  detail_->setPlainText(line.data(TraceModel::detailRole).toString());
  copy_->setEnabled(list_->selectionModel()->hasSelection());
  showCommand_->setEnabled(currentCommand() >= 0);
}

int TracePanel::currentCommand() const {
  const QVariant command = list_->currentIndex().data(TraceModel::commandRole);
  return command.isValid() ? command.toInt() : -1;
}

}  // namespace substitute
