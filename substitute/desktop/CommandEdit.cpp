#include "substitute/desktop/CommandEdit.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QKeyEvent>
#include <QStringListModel>
#include <utility>

namespace substitute {

CommandEdit::CommandEdit(const Host& host, std::vector<PromptWord> words)
    : host_(host), promptWords_(std::move(words)), completions_(new QStringListModel(this)) {
  setCompleter(new QCompleter(completions_, this));
  connect(this, &QLineEdit::textEdited, this, &CommandEdit::updateCompletions);
}

void CommandEdit::finishLine() {
  if (history_.isEmpty() || history_.last() != text()) history_ << text();
  recalled_ = history_.size();
  clear();
}

void CommandEdit::keyPressEvent(QKeyEvent* event) {
  const QAbstractItemView& popup = *completer()->popup();
  const bool hasCompletion = popup.isVisible() && popup.currentIndex().isValid();
  const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  if (hasCompletion && isEnter) {
    event->ignore();  // the completer accepts it
  } else if (event->key() == Qt::Key_Up) {
    recall(-1);
  } else if (event->key() == Qt::Key_Down) {
    recall(1);
  } else {
    QLineEdit::keyPressEvent(event);
  }
}

// The completer compares whole lines, so each completion is a whole line.
void CommandEdit::updateCompletions(const QString& typed) {
  const QString before = typed.left(typed.lastIndexOf(' ') + 1);
  QStringList lines;
  for (const std::string& word : completionsAtPrompt(typed.toStdString(), host_, promptWords_)) {
    const QString line = before + QString::fromStdString(word);
    if (line != typed) lines << line;
  }
  completions_->setStringList(typed.trimmed().isEmpty() ? QStringList() : lines);
  completer()->popup()->setFont(font());
}

void CommandEdit::recall(int step) {
  const qsizetype place = recalled_ + step;
  if (place < 0 || place > history_.size()) return;
  if (recalled_ == history_.size()) unfinished_ = text();
  recalled_ = place;
  setText(place == history_.size() ? unfinished_ : history_[place]);
}

}  // namespace substitute
