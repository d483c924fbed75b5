// The field in which commands are typed, with the completion of the prompt and a history.
#pragma once

#include <QLineEdit>
#include <QStringList>
#include <vector>

#include "substitute/driver/Commands.h"

class QStringListModel;

namespace substitute {

class CommandEdit : public QLineEdit {
  Q_OBJECT

 public:
  // Completes commands, the ids in `host`, and `words`, which are understood besides the commands.
  // `host` outlives the field.
  CommandEdit(const Host& host, std::vector<PromptWord> words);

  // Adds the line to the history and clears the field.
  void finishLine();

 protected:
  // Up and Down go through the history. Enter with a completion selected only accepts it.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void updateCompletions(const QString& typed);
  void recall(int step);

  const Host& host_;
  std::vector<PromptWord> promptWords_;
  QStringListModel* completions_;
  QStringList history_;
  qsizetype recalled_ = 0;  // index in the history; its size means the line that is being typed
  QString unfinished_;      // that line, while one of the history is shown
};

}  // namespace substitute
