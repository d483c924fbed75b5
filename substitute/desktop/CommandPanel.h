// The command panel: a list of the played and the pending commands, the output of the selected one,
// and a line to type in.
#pragma once

#include <QDockWidget>
#include <memory>
#include <vector>

#include "substitute/driver/Calls.h"
#include "substitute/driver/ScenarioRunner.h"

class QLabel;
class QPlainTextEdit;
class QStandardItem;
class QStandardItemModel;
class QTreeView;

namespace substitute {

class CommandEdit;

class CommandPanel : public QDockWidget {
  Q_OBJECT

 public:
  // Lists what `runner` plays from now on. `runner` outlives the panel.
  explicit CommandPanel(ScenarioRunner& runner);

  // Lists a command, or a comment, as the last one pending.
  void addPending(const Command& command);

  // Removes the first pending one from the list.
  void removeFirstPending();

  // The number of the command that is being played or was played last; 0 before the first one.
  int current() const { return static_cast<int>(commandRows_.size()); }

  // Selects what was played last, unless the user has selected an earlier line.
  void follow();

  // Shows the panel, selects the command of that number and scrolls to it. Does nothing when there
  // is none.
  void select(int number);

  // Shows the panel with a sentence beneath the command line. A screen reader reads it out.
  void showMessage(const QString& sentence);

  // Shows the panel and gives the focus to the command line.
  void focusCommandLine();

 Q_SIGNALS:
  // A command was typed that can be played.
  void commandTyped(const Command& command);

 private:
  QWidget* makeBody();
  void submit();
  void showAnswer(const std::string& lines);
  void addPlayed(const Command& command);
  void appendOutput(const std::string& line);
  void markFailed();
  void mark(const QString& sign, const QString& spoken, QPalette::ColorRole colour);
  void refreshCount();
  void insertRow(int row, const Command& command);
  void markFirstPending();
  void showOutput();
  QStandardItem* selected() const;

  ScenarioRunner& runner_;
  CallLog calls_;
  QStandardItemModel* rows_;  // what was played, then what is pending
  QTreeView* list_;
  QPlainTextEdit* output_;
  CommandEdit* line_;
  QLabel* message_;
  QLabel* count_;
  int playedRows_ = 0;            // the number of rows of what was played
  std::vector<int> commandRows_;  // the row of each played command
  bool follows_ = true;           // the selection follows what is played
  bool printsState_ = false;      // the current command is `state`
  int held_ = 0;                  // expectations
  int failed_ = 0;
  std::vector<std::shared_ptr<const void>> subscriptions_;
};

}  // namespace substitute
