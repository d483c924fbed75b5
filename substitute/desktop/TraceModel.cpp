#include "substitute/desktop/TraceModel.h"

#include <QGuiApplication>
#include <QPalette>
#include <QStringList>

namespace substitute {

namespace {

enum class Kind { call, event, nullFault, throwFault, threw, open };

Kind kindOf(const Json& entry) {
  if (entry.contains("fault")) return entry["fault"] == "null" ? Kind::nullFault : Kind::throwFault;
  if (!entry.contains("event")) return Kind::call;
  if (entry["event"] == "threw") return Kind::threw;
  return entry["event"] == "open" ? Kind::open : Kind::event;
}

// A value as JSON, as in the trace's file.
QString jsonText(const Json& value) {
  return QString::fromStdString(line(value));
}

// The value of `key` as JSON; empty when the entry has none.
QString valueIn(const Json& entry, const char* key) {
  const auto found = entry.find(key);
  return found == entry.end() ? QString() : jsonText(*found);
}

// The same without the quotes of a string.
QString nameIn(const Json& entry, const char* key) {
  const QString value = valueIn(entry, key);
  return value.startsWith('"') ? value.mid(1, value.size() - 2) : value;
}

QStringList argumentsOf(const Json& entry) {
  QStringList strings;
  if (entry.contains("args")) {
    for (const Json& argument : entry["args"]) strings << jsonText(argument);
  }
  return strings;
}

// A sign says the same as the colour, for users who do not see the colour. Every font has these.
QString markOf(Kind kind) {
  switch (kind) {
    case Kind::nullFault:
      return TraceModel::tr("× null");
    case Kind::throwFault:
      return TraceModel::tr("× throw");
    case Kind::threw:
      return TraceModel::tr("! threw");
    case Kind::open:
      return TraceModel::tr("→ open");
    default:
      return {};
  }
}

// What a screen reader reads out for the mark.
QString accessibleMarkOf(Kind kind) {
  switch (kind) {
    case Kind::nullFault:
      return TraceModel::tr("failed, returned null");
    case Kind::throwFault:
      return TraceModel::tr("failed, threw");
    case Kind::threw:
      return TraceModel::tr("an exception left the add-in");
    case Kind::open:
      return TraceModel::tr("the add-in ran open");
    default:
      return TraceModel::tr("no mark");
  }
}

QString cellOf(const Json& entry, int column) {
  const Kind kind = kindOf(entry);
  switch (column) {
    case TraceModel::mark:
      return markOf(kind);
    case TraceModel::call:
      return nameIn(entry, entry.contains("event") ? "event" : "op");
    case TraceModel::object:
      return nameIn(entry, entry.contains("handler") ? "handler" : "on");
    case TraceModel::arguments:
      return kind == Kind::threw ? valueIn(entry, "what") : argumentsOf(entry).join(", ");
    case TraceModel::result:
      if (kind == Kind::threw) return nameIn(entry, "type");
      return nameIn(entry, entry.contains("event") ? "value" : "result");
    default:
      return {};
  }
}

// A line for each value that the entry has.
QString detailOf(const Json& entry) {
  QStringList lines;
  const auto add = [&lines](const QString& label, const QString& value) {
    if (!value.isEmpty()) lines << label + ": " + value;
  };
  add(TraceModel::tr("Call"), nameIn(entry, "op"));
  add(TraceModel::tr("Event"), nameIn(entry, "event"));
  add(TraceModel::tr("On"), nameIn(entry, "on"));
  add(TraceModel::tr("Handler"), nameIn(entry, "handler"));
  int number = 0;
  for (const QString& argument : argumentsOf(entry)) {
    add(TraceModel::tr("Argument %1").arg(++number), argument);
  }
  add(TraceModel::tr("Result"), valueIn(entry, "result"));
  add(TraceModel::tr("Value"), valueIn(entry, "value"));
  add(TraceModel::tr("Fault"), nameIn(entry, "fault"));
  add(TraceModel::tr("Type"), nameIn(entry, "type"));
  add(TraceModel::tr("What"), valueIn(entry, "what"));
  return lines.join('\n');
}

QPalette::ColorRole colourOf(Kind kind, int column) {
  if (column == TraceModel::number) return QPalette::PlaceholderText;
  switch (kind) {
    case Kind::nullFault:
    case Kind::throwFault:
    case Kind::threw:
      return QPalette::BrightText;
    case Kind::open:
    case Kind::event:
      return QPalette::Link;
    default:
      return QPalette::Text;
  }
}

}  // namespace

void TraceModel::append(const Json& entry, int command) {
  const int row = rowCount();
  beginInsertRows({}, row, row);
  lines_.push_back({entry, command});
  endInsertRows();
}

void TraceModel::clear() {
  beginResetModel();
  cleared_ = lines_.size();
  endResetModel();
}

QByteArray TraceModel::allLines() const {
  QByteArray bytes;
  for (const Line& each : lines_) bytes += QByteArray::fromStdString(line(each.entry)) + '\n';
  return bytes;
}

int TraceModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(lines_.size() - cleared_);
}

int TraceModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : columns;
}

QVariant TraceModel::data(const QModelIndex& index, int role) const {
  const std::size_t position = cleared_ + static_cast<std::size_t>(index.row());
  const auto& [entry, command] = lines_.at(position);
  const auto cell = [&entry = entry, position](int column) {
    return column == number ? QString::number(position + 1) : cellOf(entry, column);
  };
  switch (role) {
    case Qt::DisplayRole:
      return cell(index.column());
    case Qt::AccessibleTextRole:
      return index.column() == mark ? accessibleMarkOf(kindOf(entry)) : QVariant();
    case Qt::ForegroundRole:
      return QGuiApplication::palette().brush(colourOf(kindOf(entry), index.column()));
    case lineRole:
      return jsonText(entry);
    case detailRole:
      return detailOf(entry);
    case commandRole:
      return command;
    case searchRole: {
      QStringList strings = {jsonText(entry)};
      for (int column = 0; column < columns; ++column) strings << cell(column);
      return strings.join('\n');
    }
    default:
      return {};
  }
}

QVariant TraceModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  const QString titles[] = {tr("No."), tr("Mark"),      tr("Call"),
                            tr("On"),  tr("Arguments"), tr("Result")};
  return titles[section];
}

}  // namespace substitute
