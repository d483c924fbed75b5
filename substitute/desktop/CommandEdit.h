// The line in which commands are typed, with the prompt's completion and a history.
#pragma once

#include <QLineEdit>
#include <QStringList>
#include <vector>

#include "substitute/driver/Help.h"

class QStringListModel;

namespace substitute {

class CommandEdit : public QLineEdit {
  Q_OBJECT

 public:
  // Completes the ids of `host` and `words`, which are understood besides the commands. `host`
  // outlives the field.
  CommandEdit(const Host& host, std::vector<PromptWord> words, QWidget* parent = nullptr);

  // Keeps the line in the history and clears the field.
  void finishLine();

 protected:
  // Up and Down go through the history. Enter on a word that is proposed takes the word alone.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void updateCompletions(const QString& typed);
  void recall(int step);

  const Host& host_;
  std::vector<PromptWord> promptWords_;
  QStringListModel* completions_;
  QStringList history_;
  qsizetype recalled_ = 0;  // the place in the history; its end is the line that is being typed
  QString unfinished_;      // that line, while an older one is shown
};

}  // namespace substitute
