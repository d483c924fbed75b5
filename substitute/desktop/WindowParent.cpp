#include "substitute/desktop/WindowParent.h"

#include <sys/wait.h>

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFocusFrame>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>
#include <utility>

#include "substitute/desktop/Widgets.h"
#include "substitute/driver/CrashReport.h"
#include "substitute/driver/Folders.h"

namespace substitute {

namespace {

// A dialog with a frame around what has the focus, and buttons below its parts.
class Question : public QDialog {
 public:
  Question(const char* title, QWidget* part) : buttons_(new QDialogButtonBox) {
    setWindowTitle(title);
    auto* const frame = new QFocusFrame(this);
    connect(qApp, &QApplication::focusChanged, frame,
            [frame](QWidget* /*old*/, QWidget* now) { frame->setWidget(now); });
    auto* const column = new QVBoxLayout(this);
    column->addWidget(part, 1);
    column->addWidget(buttons_);
  }

  QPushButton& add(const char* name, const char* label, const std::function<void()>& pressed) {
    QPushButton* const button = buttons_->addButton(label, QDialogButtonBox::ActionRole);
    button->setObjectName(name);
    connect(button, &QPushButton::clicked, this, pressed);
    return *button;
  }

  // By Escape or the window's own button.
  void reject() override {
    if (canBeClosed) QDialog::reject();
  }

  bool canBeClosed = true;

 private:
  QDialogButtonBox* buttons_;
};

// Starts and ends the process that asks about a call that lasts.
class HangWatch {
 public:
  explicit HangWatch(const std::function<bool(const CrashRecord& record)>& ask) : ask_(ask) {}
  ~HangWatch() { end(); }
  HangWatch(const HangWatch&) = delete;
  HangWatch& operator=(const HangWatch&) = delete;

  // Looks at the present call. True when it is to be ended.
  bool endsCall(const CrashRecord& record) {
    constexpr std::int64_t patience = 2'000'000'000;  // in nanoseconds
    const std::int64_t begun = record.begun;
    if (begun != watched_) end();
    int status = 0;
    if (process_ != 0 && waitpid(process_, &status, WNOHANG) == process_) {
      process_ = 0;
      return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
    }
    if (begun == 0 || begun == watched_ || monotonicTime() < begun + patience) return false;
    watched_ = begun;
    process_ = forkChild();
    if (process_ == 0) std::_Exit(ask_(record) ? EXIT_SUCCESS : EXIT_FAILURE);
    return false;
  }

 private:
  void end() {
    if (process_ == 0) return;
    kill(process_, SIGKILL);
    waitpid(std::exchange(process_, 0), nullptr, 0);
  }

  const std::function<bool(const CrashRecord& record)>& ask_;
  pid_t process_ = 0;
  std::int64_t watched_ = 0;  // when the call began that was asked about last
};

}  // namespace

int superviseWindow(const WindowTasks& tasks, Supervision how, std::string scenario) {
  how.captures = false;
  const auto superviseOne = [&](const std::function<ScenarioEnd()>& task) {
    HangWatch watch(tasks.watchHang);
    if (tasks.watchHang) {
      how.endsCall = [&](const CrashRecord& call) { return watch.endsCall(call); };
    }
    ScenarioResult end;
    supervise({{how.program, task}}, how, [&end](const ScenarioResult& result) { end = result; });
    return end;
  };
  ScenarioResult window;
  std::optional<LockedFolder> folder;
  for (bool isWanted = true; isWanted;) {
    folder.emplace();
    const std::string played = folder->path() + "/played.txt";
    window = superviseOne([&] { return tasks.show(scenario, played); });
    std::cerr << window.errors;
    isWanted = window.details.is_string();
    if (isWanted) {
      scenario = window.details;
    } else if (tasks.showReport && !window.errors.empty() && !window.isCutOff) {
      const auto ask = [&] { return tasks.showReport(window.errors, played); };
      isWanted = superviseOne([&] { return ScenarioEnd{ask() ? 0 : 1, ""}; }).passed();
    }
  }
  folder.reset();
  if (window.signal != 0) endBySignal(window.signal);
  return window.status;
}

bool wantsToEnd(const CrashRecord& record) {
  std::ostringstream words;
  words << record.underWay.get()
        << " has not returned after two seconds.\nCommand: " << record.command.get()
        << "\nLast call of the host: " << record.lastCall.get();
  auto* const state = new QLabel(QString::fromStdString(words.str()));
  state->setTextFormat(Qt::PlainText);
  state->setMinimumWidth(480);
  Question dialog("The add-in does not return", state);
  dialog.canBeClosed = false;
  dialog.add("end", "&End it", [&] { dialog.accept(); });
  return dialog.exec() == QDialog::Accepted;
}

bool wantsToStartAgain(const std::string& report, const std::string& played) {
  QPlainTextEdit* const text = readOnlyText("report", "Report");
  text->setPlainText(QString::fromStdString(report));
  text->setLineWrapMode(QPlainTextEdit::NoWrap);
  Question dialog("The add-in has ended the host", text);
  // There is no file when the library crashed as it was first loaded.
  QFile file(QString::fromStdString(played));
  const QByteArray scenario = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  const auto save = [&] {
    const QString path = QFileDialog::getSaveFileName(&dialog, "Save scenario", "scenario.txt");
    if (!path.isEmpty()) dialog.setWindowTitle(saveFile("The scenario", path, scenario));
  };
  dialog.add("copy", "&Copy report",
             [&] { QApplication::clipboard()->setText(text->toPlainText()); });
  dialog.add("save", "&Save scenario…", save).setEnabled(!scenario.isEmpty());
  dialog.add("close", "C&lose", [&] { dialog.reject(); });
  QPushButton& again = dialog.add("again", "Start &again", [&] { dialog.accept(); });
  again.setDefault(true);
  again.setFocus();
  dialog.resize(QSize(760, 440).boundedTo(dialog.screen()->availableSize()));
  return dialog.exec() == QDialog::Accepted;
}

}  // namespace substitute
