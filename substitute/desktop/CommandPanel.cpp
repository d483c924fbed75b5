#include "substitute/desktop/CommandPanel.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <sstream>

#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/CommandEdit.h"
#include "substitute/desktop/Widgets.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// A command's whole line and its output, at the item in the second column.
constexpr int outputRole = Qt::UserRole;

constexpr int markColumn = 0;
constexpr int lineColumn = 1;

QString printableText(const std::string& bytes) {
  return QString::fromStdString(printable(bytes));
}

}  // namespace

CommandPanel::CommandPanel(ScenarioRunner& runner)
    : QDockWidget(tr("Commands")),
      runner_(runner),
      calls_(runner),
      rows_(new QStandardItemModel(0, 2, this)),
      list_(lineList("commandList", windowTitle(), rows_)),
      output_(readOnlyText("commandOutput", tr("Output of the command"))),
      line_(new CommandEdit(runner.host(), {helpWord, callsWord})),
      message_(new QLabel),
      count_(new QLabel) {
  setObjectName("commands");
  setFeatures(DockWidgetClosable);
  setProperty(usedPart, QVariant::fromValue<QWidget*>(line_));
  count_->setObjectName("expectations");
  setTitleBar(*this, tr("Hide the commands"), {count_});
  setWidget(makeBody());
  connect(line_, &QLineEdit::returnPressed, this, &CommandPanel::submit);
  connect(line_, &QLineEdit::textChanged, message_, &QWidget::hide);
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          &CommandPanel::showOutput);
  subscriptions_ = {
      runner.playing.subscribe([this](const Command& command) { addPlayed(command); }),
      runner.reporter().printed.subscribe([this](const std::string& line) { appendOutput(line); }),
      runner.failed.subscribe([this](const std::string& /*sentence*/) { markFailed(); }),
      runner.host().interceptor().trace.subscribe([this](const Json& entry) {
        if (!entry.contains("fault")) return;
        mark("×", tr("a planned failure happened"), QPalette::BrightText);
      })};
}

void CommandPanel::addPending(const Command& command) {
  insertRow(rows_->rowCount(), command);
  markFirstPending();
}

void CommandPanel::removeFirstPending() {
  rows_->removeRow(playedRows_);
  markFirstPending();
}

void CommandPanel::follow() {
  if (!follows_ || playedRows_ == 0) return;
  list_->setCurrentIndex(rows_->index(playedRows_ - 1, lineColumn));
  // The next command is visible, too.
  list_->scrollTo(rows_->index(std::min(playedRows_, rows_->rowCount() - 1), lineColumn));
}

void CommandPanel::select(int number) {
  if (number < 1 || number > current()) return;
  const int row = commandRows_[static_cast<std::size_t>(number - 1)];
  show();
  raise();
  list_->setCurrentIndex(rows_->index(row, lineColumn));
  list_->scrollTo(list_->currentIndex());
}

void CommandPanel::showMessage(const QString& sentence) {
  show();
  raise();
  showSentence(*message_, sentence);
  message_->show();
}

void CommandPanel::focusCommandLine() {
  show();
  raise();
  window()->activateWindow();  // a floating palette may have the keyboard
  line_->setFocus(Qt::ShortcutFocusReason);
  line_->selectAll();
}

QWidget* CommandPanel::makeBody() {
  output_->document()->setDocumentMargin(12);
  output_->setPlaceholderText(tr("The output of a command is shown here."));
  auto* const parts = new QSplitter(Qt::Vertical);
  parts->setChildrenCollapsible(false);
  parts->addWidget(list_);
  parts->addWidget(output_);
  line_->setObjectName("commandLine");
  line_->setAccessibleName(tr("Command"));
  line_->setPlaceholderText(tr("Command, such as help"));
  line_->setFont(list_->font());
  message_->setObjectName("commandMessage");
  setUpSentence(*message_);
  message_->hide();
  auto* const body = new QWidget;
  QVBoxLayout* const column = makeColumn(*body);
  column->addWidget(parts, 1);
  auto* const typing = new QVBoxLayout;
  typing->setContentsMargins(8, 8, 8, 8);
  typing->addWidget(line_);
  typing->addWidget(message_);
  column->addLayout(typing);
  return body;
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
      return showAnswer(help(argument, {helpWord, callsWord}, runner_.host(), HelpLayout::narrow));
    }
    if (word == callsWord.name) return showAnswer(calls_.linesOf(argument));
    const Command command = parseCommand(typed);
    line_->finishLine();
    follows_ = true;
    Q_EMIT commandTyped(command);
  } catch (const UsageError& error) {
    showMessage(printableText(error.what()) + '.');
  }
}

void CommandPanel::showAnswer(const std::string& lines) {
  line_->finishLine();
  list_->setCurrentIndex({});
  output_->setPlainText(QString::fromStdString(lines));
}

void CommandPanel::addPlayed(const Command& command) {
  const int row = playedRows_++;
  insertRow(row, command);
  rows_->item(row, lineColumn)->setForeground(palette().color(QPalette::Text));
  if (!command.name.empty()) {
    commandRows_.push_back(row);
    rows_->item(row, markColumn)->setText(QString::number(current()));
  }
  markFirstPending();
  printsState_ = command.name == "state";
  if (command.name != "expect" && command.name != "expect-not") return;
  ++held_;  // until it fails
  mark("✓", tr("held"), QPalette::PlaceholderText);
  refreshCount();
}

void CommandPanel::appendOutput(const std::string& line) {
  if (playedRows_ == 0) return;
  QString shown = QString::fromStdString(line);
  if (printsState_) {
    const Json state = Json::parse(line, nullptr, false);
    if (state.is_object()) shown = QString::fromStdString(indented(state));
  }
  QStandardItem* const last = rows_->item(playedRows_ - 1, lineColumn);
  last->setData(QString(last->data(outputRole).toString() + '\n' + shown), outputRole);
  if (selected() == last) output_->appendPlainText(shown);
}

void CommandPanel::markFailed() {
  --held_;
  ++failed_;
  mark("✗", tr("failed"), QPalette::BrightText);
  refreshCount();
}

void CommandPanel::mark(const QString& sign, const QString& spoken, QPalette::ColorRole colour) {
  if (current() == 0) return;
  QStandardItem* const mark = rows_->item(commandRows_.back(), markColumn);
  mark->setText(QStringLiteral("%1 %2").arg(sign).arg(current()));
  mark->setData(QStringLiteral("%1, %2").arg(current()).arg(spoken), Qt::AccessibleTextRole);
  mark->setForeground(palette().color(colour));
}

void CommandPanel::refreshCount() {
  const QString failure = palette().color(QPalette::BrightText).name();
  QString shown = QStringLiteral("✓ %1").arg(held_);
  if (failed_ > 0) {
    shown += QStringLiteral(" &nbsp;<span style='color:%1'>✗ %2</span>").arg(failure).arg(failed_);
  }
  count_->setText(shown);
  count_->setAccessibleName(tr("%1 expectations held, %2 failed").arg(held_).arg(failed_));
}

void CommandPanel::insertRow(int row, const Command& command) {
  const QString line = printableText(command.line);
  auto* const mark = new QStandardItem;
  auto* const item = new QStandardItem(line);
  mark->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
  mark->setForeground(palette().color(QPalette::PlaceholderText));
  item->setForeground(palette().color(QPalette::PlaceholderText));
  item->setData(line, outputRole);
  rows_->insertRow(row, {mark, item});
}

void CommandPanel::markFirstPending() {
  QStandardItem* const mark = rows_->item(playedRows_, markColumn);
  if (mark == nullptr || !mark->text().isEmpty()) return;
  mark->setText(QStringLiteral("▶"));
  mark->setData(tr("Next"), Qt::AccessibleTextRole);
  mark->setForeground(palette().color(QPalette::Text));
}

void CommandPanel::showOutput() {
  const QStandardItem* const item = selected();
  follows_ = item == nullptr || item->row() == playedRows_ - 1;
  output_->setPlainText(item == nullptr ? QString() : item->data(outputRole).toString());
}

QStandardItem* CommandPanel::selected() const {
  const QModelIndex index = list_->currentIndex();
  return index.isValid() ? rows_->item(index.row(), lineColumn) : nullptr;
}

}  // namespace substitute
