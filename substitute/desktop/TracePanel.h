// The trace on screen: a row for each entry, growing as the calls happen.
#pragma once

#include <QDockWidget>

#include "substitute/api/Trace.h"

class QLabel;
class QSortFilterProxyModel;
class QStandardItemModel;
class QTreeView;

namespace substitute {

class TracePanel : public QDockWidget {
  Q_OBJECT

 public:
  explicit TracePanel(QWidget* parent);

  // One more row. `entry` is an entry of the trace.
  void append(const Json& entry);

 private:
  void count();

  QStandardItemModel* rows_;
  QSortFilterProxyModel* shown_;
  QTreeView* list_;
  QLabel* count_;
  int appended_ = 0;  // goes on after a clearing, as the trace's file does
};

}  // namespace substitute
