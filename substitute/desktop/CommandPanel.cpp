#include "substitute/desktop/CommandPanel.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QStandardItemModel>
#include <QToolButton>
#include <QTreeView>
#include <algorithm>
#include <sstream>

#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/CommandEdit.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/desktop/Theme.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// A command's whole line and its output, at the item in the second column.
constexpr int outputRole = Qt::UserRole;

constexpr int markColumn = 0;
constexpr int lineColumn = 1;

QString text(const std::string& bytes) {
  return QString::fromStdString(printable(bytes));
}

}  // namespace

CommandPanel::CommandPanel(ScenarioRunner& runner, QWidget* parent)
    : QDockWidget(tr("Commands"), parent),
      runner_(runner),
      rows_(new QStandardItemModel(0, 2, this)),
      list_(new QTreeView),
      output_(new QPlainTextEdit),
      line_(new CommandEdit(runner.host(), {helpWord})),
      message_(new QLabel) {
  setObjectName("commands");
  setFeatures(DockWidgetClosable);
  setTitleBarWidget(makeTitleBar());
  makeList();
  setWidget(makeBody());
  connect(line_, &QLineEdit::returnPressed, this, &CommandPanel::submit);
  connect(line_, &QLineEdit::textChanged, message_, &QWidget::hide);
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          &CommandPanel::showOutput);
  playing_ = runner.playing.subscribe([this](const Command& command) { addPlayed(command); });
  printed_ = runner.reporter().printed.subscribe(
      [this](const std::string& line) { appendOutput(QString::fromStdString(line)); });
  failed_ = runner.failed.subscribe([this](const std::string& /*sentence*/) { markFailed(); });
}

void CommandPanel::addPending(const Command& command) {
  insertRow(rows_->rowCount(), command);
  markFirstPending();
}

void CommandPanel::removeFirstPending() {
  rows_->removeRow(playedRows_);
  markFirstPending();
}

void CommandPanel::select(int number) {
  if (number < 1 || number > current()) return;
  const int row = commandRows_[static_cast<std::size_t>(number - 1)];
  const QModelIndex index = rows_->index(row, lineColumn);
  show();
  list_->setCurrentIndex(index);
  list_->scrollTo(index);
}

void CommandPanel::showMessage(const QString& sentence) {
  message_->setText(shortenedForLabel(sentence));
  message_->setToolTip(toTooltip(sentence));
  message_->setAccessibleName(sentence);
  message_->show();
  show();
  announce(*message_);
}

void CommandPanel::focusCommandLine() {
  show();
  window()->activateWindow();  // a floating palette may have the keyboard
  line_->setFocus(Qt::ShortcutFocusReason);
  line_->selectAll();
}

QWidget* CommandPanel::makeTitleBar() {
  auto* const bar = new QWidget;
  bar->setObjectName("titleBar");
  bar->setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(bar);
  row->setContentsMargins(12, 4, 6, 4);
  row->addWidget(new QLabel(windowTitle()));
  row->addStretch(1);
  auto* const close = new QToolButton;
  close->setObjectName("close");
  close->setToolTip(tr("Hide the commands"));
  close->setAccessibleName(close->toolTip());
  close->setIcon(drawnIcon(Drawing::cross, palette().color(QPalette::WindowText)));
  connect(close, &QToolButton::clicked, this, &QWidget::close);
  row->addWidget(close);
  return bar;
}

QWidget* CommandPanel::makeBody() {
  output_->setObjectName("commandOutput");
  output_->setAccessibleName(tr("Output of the command"));
  output_->setReadOnly(true);
  output_->setTabChangesFocus(true);
  output_->setFrameShape(QFrame::NoFrame);
  output_->setFont(list_->font());
  output_->document()->setDocumentMargin(12);
  output_->setPlaceholderText(tr("The output of a command is shown here."));

  auto* const parts = new QSplitter(Qt::Vertical);
  parts->setChildrenCollapsible(false);
  parts->addWidget(list_);
  parts->addWidget(output_);
  parts->setStretchFactor(0, 3);
  parts->setStretchFactor(1, 2);

  line_->setObjectName("commandLine");
  line_->setAccessibleName(tr("Command"));
  line_->setPlaceholderText(tr("Command, such as help"));
  line_->setFont(list_->font());
  message_->setObjectName("commandMessage");
  message_->setTextFormat(Qt::PlainText);
  message_->setWordWrap(true);
  // A long word does not widen the panel.
  message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  message_->hide();

  auto* const body = new QWidget;
  auto* const column = new QVBoxLayout(body);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(parts, 1);
  auto* const typing = new QVBoxLayout;
  typing->setContentsMargins(8, 8, 8, 8);
  typing->setSpacing(6);
  typing->addWidget(line_);
  typing->addWidget(message_);
  column->addLayout(typing);
  return body;
}

void CommandPanel::makeList() {
  list_->setObjectName("commandList");
  list_->setAccessibleName(windowTitle());
  list_->setModel(rows_);
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  list_->setHeaderHidden(true);
  list_->header()->setStretchLastSection(true);
  list_->header()->resizeSection(markColumn, 52);
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSizeF(font.pointSizeF() - 1);  // as the trace
  list_->setFont(font);
}

// Has the typed command played. A wrong line stays in the field, to be corrected.
void CommandPanel::submit() {
  const std::string typed = line_->text().toStdString();
  std::string word;
  std::string argument;
  std::istringstream(typed) >> word >> argument;
  if (word.empty()) return;
  try {
    if (word == helpWord.name) {
      const std::string lines = help(argument, {helpWord}, runner_.host(), HelpLayout::narrow);
      line_->finishLine();
      list_->setCurrentIndex({});
      output_->setPlainText(QString::fromStdString(lines));
      return;
    }
    const Command command = parseCommand(typed);
    line_->finishLine();
    list_->setCurrentIndex({});  // so the selection follows the played commands again
    Q_EMIT commandTyped(command);
  } catch (const ScenarioError& error) {
    showMessage(text(error.what()) + '.');
  }
}

// The selection follows the played commands, unless the user has selected an earlier one.
void CommandPanel::addPlayed(const Command& command) {
  const QModelIndex before = list_->currentIndex();
  const bool follows = !before.isValid() || before.row() == playedRows_ - 1;
  const int row = playedRows_++;
  insertRow(row, command);
  rows_->item(row, lineColumn)->setForeground(palette().color(QPalette::Text));
  if (!command.name.empty()) {
    commandRows_.push_back(row);
    rows_->item(row, markColumn)->setText(QString::number(current()));
  }
  markFirstPending();
  if (!follows) return;
  list_->setCurrentIndex(rows_->index(row, lineColumn));
  // The next command is visible, too.
  list_->scrollTo(rows_->index(std::min(row + 1, rows_->rowCount() - 1), lineColumn));
}

void CommandPanel::appendOutput(const QString& line) {
  if (playedRows_ == 0) return;
  QStandardItem* const last = rows_->item(playedRows_ - 1, lineColumn);
  last->setData(QString(last->data(outputRole).toString() + '\n' + line), outputRole);
  if (selected() == last) output_->appendPlainText(line);
}

void CommandPanel::markFailed() {
  QStandardItem* const mark = rows_->item(playedRows_ - 1, markColumn);
  mark->setText(QStringLiteral("✗ %1").arg(current()));
  mark->setData(tr("%1, failed").arg(current()), Qt::AccessibleTextRole);
  mark->setForeground(palette().color(QPalette::BrightText));
}

void CommandPanel::insertRow(int row, const Command& command) {
  const QString line = text(command.line);
  auto* const mark = new QStandardItem;
  auto* const item = new QStandardItem(line);
  mark->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
  mark->setForeground(palette().color(QPalette::PlaceholderText));
  item->setForeground(palette().color(QPalette::PlaceholderText));
  item->setData(line, outputRole);
  QFont font = list_->font();
  font.setItalic(command.name.empty());
  item->setFont(font);
  rows_->insertRow(row, {mark, item});
}

void CommandPanel::markFirstPending() {
  QStandardItem* const mark = rows_->item(playedRows_, markColumn);
  if (mark == nullptr || !mark->text().isEmpty()) return;
  mark->setText(QStringLiteral("▶"));
  mark->setData(tr("Next"), Qt::AccessibleTextRole);
  mark->setForeground(palette().color(QPalette::Text));
  QFont font = rows_->item(playedRows_, lineColumn)->font();
  font.setBold(true);
  rows_->item(playedRows_, lineColumn)->setFont(font);
}

void CommandPanel::showOutput() {
  const QStandardItem* const item = selected();
  output_->setPlainText(item == nullptr ? QString() : item->data(outputRole).toString());
}

QStandardItem* CommandPanel::selected() const {
  const QModelIndex index = list_->currentIndex();
  return index.isValid() ? rows_->item(index.row(), lineColumn) : nullptr;
}

}  // namespace substitute
