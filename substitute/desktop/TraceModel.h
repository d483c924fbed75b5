// The trace as a table, a row for each entry.
#pragma once

#include <QAbstractTableModel>
#include <vector>

#include "substitute/api/Trace.h"

namespace substitute {

class TraceModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { number, mark, call, object, arguments, result, columns };

  // What a row gives besides its cells, at any column.
  enum Role {
    lineRole = Qt::UserRole,  // the entry as it stands in the trace's file, without its line end
    detailRole,               // the whole entry for people, in several lines of plain text
    commandRole,              // the number of the command that caused it; -1 when none did
    searchRole,               // all cells and the line
  };

  explicit TraceModel(QObject* parent) : QAbstractTableModel(parent) {}

  // Adds a row. `entry` is an entry of the trace.
  void append(const Json& entry, int command);

  // Removes the rows. The entries are kept for `allLines`, and the numbers go on.
  void clear();

  // The trace's file since the host began, also what was cleared.
  QByteArray allLines() const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  struct Line {
    Json entry;
    int command;
  };

  std::vector<Line> lines_;
  std::size_t cleared_ = 0;  // so many of the lines have no row any more
};

}  // namespace substitute
