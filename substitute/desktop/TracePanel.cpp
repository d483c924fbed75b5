#include "substitute/desktop/TracePanel.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QToolButton>
#include <QTreeView>

#include "substitute/desktop/Theme.h"

namespace substitute {

namespace {

// The whole entry, as it stands in the trace's file.
constexpr int lineRole = Qt::UserRole;

QString textOf(const Json& json) {
  return QString::fromStdString(json.is_string() ? json.get<std::string>() : line(json));
}

// The values in brackets, without the brackets.
QString listOf(const Json& values) {
  QStringList texts;
  for (const Json& value : values) texts << QString::fromStdString(line(value));
  return texts.join(", ");
}

// The cells of an entry: call, object, arguments, result.
QStringList cellsOf(const Json& entry) {
  if (!entry.contains("event")) {
    QString result = entry.contains("result") ? textOf(entry["result"]) : QString();
    if (entry.contains("fault")) result = "fault: " + textOf(entry["fault"]);
    return {textOf(entry["op"]), entry.contains("on") ? textOf(entry["on"]) : QString(),
            listOf(entry["args"]), result};
  }
  const QString event = textOf(entry["event"]);
  if (event == "notify") return {event, textOf(entry["handler"]), {}, {}};
  if (event == "open") return {event, {}, listOf(entry["args"]), {}};
  if (event == "threw") return {event, {}, textOf(entry["what"]), textOf(entry["type"])};
  return {event, {}, {}, entry.contains("value") ? textOf(entry["value"]) : QString()};
}

}  // namespace

TracePanel::TracePanel(QWidget* parent)
    : QDockWidget(tr("Trace"), parent),
      rows_(new QStandardItemModel(0, 5, this)),
      shown_(new QSortFilterProxyModel(this)),
      list_(new QTreeView),
      count_(new QLabel) {
  setObjectName("trace");
  setFeatures(DockWidgetClosable);

  auto* const bar = new QWidget;
  bar->setObjectName("titleBar");
  bar->setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(bar);
  row->setContentsMargins(12, 4, 6, 4);
  row->addWidget(new QLabel(tr("Trace")));
  row->addSpacing(12);
  auto* const filter = new QLineEdit;
  filter->setObjectName("traceFilter");
  filter->setPlaceholderText(tr("Filter, such as Palette"));
  filter->setClearButtonEnabled(true);
  filter->setMaximumWidth(260);
  row->addWidget(filter, 1);
  count_->setObjectName("count");
  row->addWidget(count_);
  row->addStretch(1);
  auto* const clear = new QToolButton;
  clear->setObjectName("clear");
  clear->setText(tr("Clear"));
  row->addWidget(clear);
  auto* const close = new QToolButton;
  close->setObjectName("close");
  close->setToolTip(tr("Hide the trace"));
  close->setIcon(drawnIcon(Drawing::cross, palette().color(QPalette::WindowText)));
  connect(close, &QToolButton::clicked, this, &QWidget::close);
  row->addWidget(close);
  setTitleBarWidget(bar);

  rows_->setHorizontalHeaderLabels({"", tr("Call"), tr("On"), tr("Arguments"), tr("Result")});
  shown_->setSourceModel(rows_);
  shown_->setFilterRole(lineRole);
  shown_->setFilterKeyColumn(0);
  shown_->setFilterCaseSensitivity(Qt::CaseInsensitive);
  list_->setObjectName("traceList");
  list_->setModel(shown_);
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSizeF(font.pointSizeF() - 1);  // for the long names of the calls
  list_->setFont(font);
  QHeaderView* const header = list_->header();
  header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  header->setStretchLastSection(false);
  header->setSectionResizeMode(3, QHeaderView::Stretch);
  const std::pair<int, int> widths[] = {{0, 44}, {1, 235}, {2, 150}, {4, 170}};
  for (const auto& [column, width] : widths) header->resizeSection(column, width);
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setWidget(list_);

  connect(filter, &QLineEdit::textChanged, this, [this](const QString& text) {
    shown_->setFilterFixedString(text);
    count();
  });
  connect(clear, &QToolButton::clicked, this, [this] {
    rows_->removeRows(0, rows_->rowCount());
    count();
  });
  count();
}

void TracePanel::append(const Json& entry) {
  // Who has scrolled up to read stays there.
  const QScrollBar* const bar = list_->verticalScrollBar();
  const bool atEnd = bar->value() == bar->maximum();
  const QString whole = QString::fromStdString(line(entry));
  QList<QStandardItem*> cells = {new QStandardItem(QString::number(++appended_))};
  for (const QString& cell : cellsOf(entry)) cells << new QStandardItem(cell);
  cells[0]->setData(whole, lineRole);
  cells[0]->setForeground(palette().color(QPalette::PlaceholderText));
  for (QStandardItem* const cell : cells) {
    cell->setToolTip(whole);
    if (entry.contains("event")) cell->setForeground(palette().color(QPalette::Link));
    if (entry.contains("fault") || entry.value("event", "") == "threw") {
      cell->setForeground(QColor("#e0533d"));
    }
  }
  rows_->appendRow(cells);
  count();
  if (atEnd) list_->scrollToBottom();
}

void TracePanel::count() {
  const int all = rows_->rowCount();
  const int now = shown_->rowCount();
  count_->setText(now == all ? tr("%1 lines").arg(all) : tr("%1 of %2 lines").arg(now).arg(all));
}

}  // namespace substitute
