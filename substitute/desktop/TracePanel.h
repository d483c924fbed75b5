// The trace panel: the calls as code, in a list that grows as they happen, and below it all of the
// selected line.
#pragma once

#include <QDockWidget>

#include "substitute/api/Trace.h"

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QSortFilterProxyModel;
class QStandardItemModel;
class QTreeView;

namespace substitute {

// Its `actions()` are meant for a menu of the window.
class TracePanel : public QDockWidget {
  Q_OBJECT

 public:
  TracePanel();

  // Adds a line. `entry` is an entry of the trace, `command` the number of the command that caused
  // it; 0 when none did.
  void append(const Json& entry, int command = 0);

  // Writes the trace to the file `path` as --trace does, and emits `reported`.
  void save(const QString& path);

 Q_SIGNALS:
  // The user wants to see the command that caused a line. `command` is what `append` was given.
  void commandRequested(int command);

  // The result of `save`, one sentence for the user.
  void reported(const QString& sentence);

 private:
  void makeActions();
  void makeTitleBar();
  void makeParts();
  QAction* addPanelAction(const char* name, const QString& text, const QKeySequence& shortcut,
                          void (TracePanel::*done)());
  void find();
  void leaveFilter();
  void escape();
  void copy();
  void showCommand();
  void askWhereToSave();
  void filter(const QString& words);
  void refreshCount();
  void refreshDetail();
  void fitDetail();
  QVariant dataOfCurrent(int role) const;

  QStandardItemModel* rows_;
  QSortFilterProxyModel* filtered_;
  QLineEdit* filter_;
  QLabel* count_;
  QTreeView* list_;
  QPlainTextEdit* detail_;
  QAction* copy_ = nullptr;
  QAction* showCommand_ = nullptr;
  QByteArray json_;  // the content of the trace's file
  bool followsEnd_ = true;
};

}  // namespace substitute
