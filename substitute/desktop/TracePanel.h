// The trace panel: a list that grows as the calls happen, and all values of the selected line.
#pragma once

#include <QDockWidget>

#include "substitute/api/Trace.h"

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QSortFilterProxyModel;
class QTreeView;

namespace substitute {

class TraceModel;

// Its `actions()` are meant for a menu of the window.
class TracePanel : public QDockWidget {
  Q_OBJECT

 public:
  explicit TracePanel(QWidget* parent);

  // Adds a row. `entry` is an entry of the trace, `command` the number of the command that caused
  // it; -1 when none did.
  void append(const Json& entry, int command = -1);

 Q_SIGNALS:
  // The user wants to see the command that caused a line. `command` is what `append` was given.
  void commandRequested(int command);

 private:
  void makeTitleBar();
  void makeList();
  void makeDetail();
  void makeActions();
  QAction* addPanelAction(const QString& name, const QString& text, const QKeySequence& shortcut,
                          void (TracePanel::*done)());
  void find();
  void clearFilter();
  void copy();
  void goToNextColumn() { goToColumn(1); }
  void goToPreviousColumn() { goToColumn(-1); }
  void showCommand();
  void goToColumn(int step);
  void askWhereToSave();
  void save(const QString& path);
  void clear();
  void filter(const QString& words);
  void refreshCount();
  void refreshDetail();
  int currentCommand() const;

  TraceModel* trace_;
  QSortFilterProxyModel* filtered_;
  QLineEdit* filter_;
  QLabel* count_;
  QTreeView* list_;
  QPlainTextEdit* detail_;
  QAction* copy_ = nullptr;
  QAction* showCommand_ = nullptr;
  QAction* nextColumn_ = nullptr;
  QAction* previousColumn_ = nullptr;
  QAction* clear_ = nullptr;
  bool followsEnd_ = true;
};

}  // namespace substitute
