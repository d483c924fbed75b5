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

// The whole line of a command, and what came of it; of the item in the second column.
constexpr int wordsRole = Qt::UserRole;

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
      words_(new QPlainTextEdit),
      line_(new CommandEdit(runner.host(), {helpWord})),
      message_(new QLabel) {
  setObjectName("commands");
  setFeatures(DockWidgetClosable);
  setTitleBarWidget(makeTitleBar());
  makeList();
  setWidget(makeBody());
  connect(line_, &QLineEdit::returnPressed, this, &CommandPanel::enter);
  connect(line_, &QLineEdit::textChanged, message_, &QWidget::hide);
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          &CommandPanel::showWords);
  playing_ = runner.playing.subscribe([this](const Command& command) { addPlayed(command); });
  printed_ = runner.reporter().printed.subscribe(
      [this](const std::string& line) { addWords(QString::fromStdString(line)); });
  failed_ = runner.failed.subscribe([this](const std::string& /*sentence*/) { markFailed(); });
}

void CommandPanel::addComing(const Command& command) {
  insertRow(rows_->rowCount(), command);
  markNext();
}

void CommandPanel::removeComing() {
  rows_->removeRow(played_);
  markNext();
}

void CommandPanel::select(int number) {
  if (number < 1 || number > current()) return;
  const int row = commandRows_[static_cast<std::size_t>(number - 1)];
  const QModelIndex index = rows_->index(row, lineColumn);
  show();
  list_->setCurrentIndex(index);
  list_->scrollTo(index);
}

void CommandPanel::tell(const QString& sentence) {
  message_->setText(shortenedToLines(sentence));
  message_->setToolTip(wholeAsTooltip(sentence));
  message_->setAccessibleName(sentence);
  message_->show();
  show();
  announce(*message_);
}

void CommandPanel::typeCommand() {
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
  words_->setObjectName("words");
  words_->setAccessibleName(tr("What came of the command"));
  words_->setReadOnly(true);
  words_->setTabChangesFocus(true);
  words_->setFrameShape(QFrame::NoFrame);
  words_->setFont(list_->font());
  words_->document()->setDocumentMargin(12);
  words_->setPlaceholderText(tr("What comes of a command stands here."));

  auto* const parts = new QSplitter(Qt::Vertical);
  parts->setChildrenCollapsible(false);
  parts->addWidget(list_);
  parts->addWidget(words_);
  parts->setStretchFactor(0, 3);
  parts->setStretchFactor(1, 2);

  line_->setObjectName("commandLine");
  line_->setAccessibleName(tr("Command"));
  line_->setPlaceholderText(tr("Command, such as help"));
  line_->setFont(list_->font());
  message_->setObjectName("commandMessage");
  message_->setTextFormat(Qt::PlainText);
  message_->setWordWrap(true);
  // No word widens the panel.
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

// What was typed is played; a wrong line stays to be mended.
void CommandPanel::enter() {
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
      words_->setPlainText(QString::fromStdString(lines));
      return;
    }
    const Command command = parseCommand(typed);
    line_->finishLine();
    list_->setCurrentIndex({});  // so what is played is followed again
    Q_EMIT commandTyped(command);
  } catch (const ScenarioError& error) {
    tell(text(error.what()) + '.');
  }
}

// Who reads what came of an earlier command stays there.
void CommandPanel::addPlayed(const Command& command) {
  const QModelIndex before = list_->currentIndex();
  const bool follows = !before.isValid() || before.row() == played_ - 1;
  const int row = played_++;
  insertRow(row, command);
  rows_->item(row, lineColumn)->setForeground(palette().color(QPalette::Text));
  if (!command.name.empty()) {
    commandRows_.push_back(row);
    rows_->item(row, markColumn)->setText(QString::number(current()));
  }
  markNext();
  if (!follows) return;
  list_->setCurrentIndex(rows_->index(row, lineColumn));
  // The next one is in sight, too.
  list_->scrollTo(rows_->index(std::min(row + 1, rows_->rowCount() - 1), lineColumn));
}

void CommandPanel::addWords(const QString& line) {
  if (played_ == 0) return;
  QStandardItem* const last = rows_->item(played_ - 1, lineColumn);
  last->setData(QString(last->data(wordsRole).toString() + '\n' + line), wordsRole);
  if (selected() == last) words_->appendPlainText(line);
}

void CommandPanel::markFailed() {
  QStandardItem* const mark = rows_->item(played_ - 1, markColumn);
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
  item->setData(line, wordsRole);
  QFont font = list_->font();
  font.setItalic(command.name.empty());
  item->setFont(font);
  rows_->insertRow(row, {mark, item});
}

// The first row that is to come bears a mark.
void CommandPanel::markNext() {
  QStandardItem* const mark = rows_->item(played_, markColumn);
  if (mark == nullptr || !mark->text().isEmpty()) return;
  mark->setText(QStringLiteral("▶"));
  mark->setData(tr("Next"), Qt::AccessibleTextRole);
  mark->setForeground(palette().color(QPalette::Text));
  QFont font = rows_->item(played_, lineColumn)->font();
  font.setBold(true);
  rows_->item(played_, lineColumn)->setFont(font);
}

void CommandPanel::showWords() {
  const QStandardItem* const item = selected();
  words_->setPlainText(item == nullptr ? QString() : item->data(wordsRole).toString());
}

QStandardItem* CommandPanel::selected() const {
  const QModelIndex index = list_->currentIndex();
  return index.isValid() ? rows_->item(index.row(), lineColumn) : nullptr;
}

}  // namespace substitute
