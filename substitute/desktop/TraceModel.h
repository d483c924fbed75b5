// The trace as a table model, with one row for each entry.
#pragma once

#include <QAbstractTableModel>
#include <vector>

#include "substitute/api/Trace.h"

namespace substitute {

class TraceModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { number, mark, call, object, arguments, result, columns };

  // Data of the whole row, the same in every column.
  enum Role {
    lineRole = Qt::UserRole,  // the entry's line in the trace's file, without its line end
    detailRole,               // all values of the entry, in several lines of plain text
    commandRole,              // the number of the command that caused it; -1 when none did
    searchRole,               // all cells and the line
  };

  explicit TraceModel(QObject* parent) : QAbstractTableModel(parent) {}

  // Adds a row. `entry` is an entry of the trace.
  void append(const Json& entry, int command);

  // Removes the rows. `allLines` still has their entries, and the next row has the next number.
  void clear();

  // The content of the trace's file since the host was created, including what was cleared.
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
  std::size_t cleared_ = 0;  // the number of lines that have no row any more
};

}  // namespace substitute
