#include "substitute/desktop/CrashDialogs.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFocusFrame>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "substitute/desktop/Widgets.h"
#include "substitute/driver/CrashReport.h"

namespace substitute {

namespace {

// Gives `dialog` a title, a frame around what has the focus, and a column for its parts.
QVBoxLayout* makeColumn(QDialog& dialog, const QString& title) {
  dialog.setWindowTitle(title);
  auto* const frame = new QFocusFrame(&dialog);
  QObject::connect(qApp, &QApplication::focusChanged, frame,
                   [frame](QWidget* /*old*/, QWidget* now) { frame->setWidget(now); });
  return new QVBoxLayout(&dialog);
}

}  // namespace

HangDialog::HangDialog(const CrashRecord& record) {
  QVBoxLayout* const column = makeColumn(*this, tr("The add-in does not return"));
  auto* const state = new QLabel;
  state->setObjectName("state");
  state->setTextFormat(Qt::PlainText);
  state->setMinimumWidth(480);
  const auto refresh = [state, &record] {
    constexpr std::int64_t second = 1'000'000'000;
    state->setText(
        tr("%1 has not returned after %2 seconds.\nCommand: %3\nLast call of the host: %4")
            .arg(record.underWay.get())
            .arg((monotonicTime() - record.begun) / second)
            .arg(record.command.get(), record.lastCall.get()));
  };
  refresh();
  auto* const clock = new QTimer(this);
  connect(clock, &QTimer::timeout, this, refresh);
  clock->start(std::chrono::seconds(1));
  auto* const buttons = new QDialogButtonBox;
  connect(buttons->addButton(tr("&End it"), QDialogButtonBox::DestructiveRole),
          &QPushButton::clicked, this, &QDialog::accept);
  column->addWidget(state);
  column->addWidget(buttons);
}

ReportDialog::ReportDialog(const QString& report, const QString& played)
    : played_(played), message_(new QLabel) {
  QVBoxLayout* const column = makeColumn(*this, tr("The add-in has ended the host"));
  auto* const text = new QPlainTextEdit(report);
  text->setObjectName("report");
  text->setAccessibleName(tr("Report"));
  text->setReadOnly(true);
  text->setTabChangesFocus(true);
  text->setLineWrapMode(QPlainTextEdit::NoWrap);
  text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  message_->setObjectName("saved");
  setUpSentence(*message_);
  message_->hide();
  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  const auto add = [&](const char* name, const QString& label) {
    QPushButton* const button = buttons->addButton(label, QDialogButtonBox::ActionRole);
    button->setObjectName(name);
    return button;
  };
  connect(add("copy", tr("&Copy report")), &QPushButton::clicked, this,
          [report] { QApplication::clipboard()->setText(report); });
  QPushButton* const saves = add("save", tr("&Save scenario…"));
  connect(saves, &QPushButton::clicked, this, &ReportDialog::save);
  saves->setEnabled(QFile::exists(played));  // not when the library crashed as it was first loaded
  QPushButton* const again = add("again", tr("Start &again"));
  connect(again, &QPushButton::clicked, this, &QDialog::accept);
  again->setDefault(true);
  column->addWidget(text, 1);
  column->addWidget(message_);
  column->addWidget(buttons);
  resize(QSize(760, 440).boundedTo(screen()->availableSize()));
  again->setFocus();
}

void ReportDialog::save() {
  const QString path = QFileDialog::getSaveFileName(this, tr("Save scenario"), "scenario.txt");
  if (path.isEmpty()) return;
  QFile played(played_);
  static_cast<void>(played.open(QIODevice::ReadOnly));
  message_->show();
  showSentence(*message_, saveFile(tr("The scenario"), path, played.readAll()));
}

}  // namespace substitute
