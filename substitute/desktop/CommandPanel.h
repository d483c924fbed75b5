// The commands on screen: those that were played, with what came of them, those that are to come,
// and a line to type more.
#pragma once

#include <QDockWidget>
#include <vector>

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
  // Shows what `runner` plays from now on. `runner` outlives the panel.
  CommandPanel(ScenarioRunner& runner, QWidget* parent);

  // Shows a command, or a comment, that comes behind all others.
  void addComing(const Command& command);

  // The first of these is played now, or never.
  void removeComing();

  // The number of the command that is played, or was played last; 0 before the first one.
  int current() const { return static_cast<int>(commandRows_.size()); }

  // Shows the panel, with the command of that number selected and in sight. Nothing happens when
  // there is none.
  void select(int number);

  // Shows the panel, with a sentence beneath the command line.
  void tell(const QString& sentence);

  // Shows the panel, the keyboard in the command line.
  void typeCommand();

 Q_SIGNALS:
  // A command was typed.
  void commandTyped(const Command& command);

 private:
  QWidget* makeTitleBar();
  QWidget* makeBody();
  void makeList();
  void enter();
  void addPlayed(const Command& command);
  void addWords(const QString& line);
  void markFailed();
  void insertRow(int row, const Command& command);
  void markNext();
  void showWords();
  QStandardItem* selected() const;

  ScenarioRunner& runner_;
  QStandardItemModel* rows_;  // what was played, then what is to come
  QTreeView* list_;
  QPlainTextEdit* words_;
  CommandEdit* line_;
  QLabel* message_;
  int played_ = 0;                // the number of rows that were played
  std::vector<int> commandRows_;  // the row of each command that was played
  Signal<Command>::Subscription playing_;
  Signal<std::string>::Subscription printed_;
  Signal<std::string>::Subscription failed_;
};

}  // namespace substitute
