#include "substitute/desktop/ScenarioMenu.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QSaveFile>
#include <sstream>

#include "substitute/desktop/Playback.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

constexpr const char* filter = "Scenarios (*.txt);;All files (*)";

}  // namespace

ScenarioMenu::ScenarioMenu(Playback& playback, const Recording& recording, QWidget* parent)
    : QMenu(tr("&Scenario"), parent), playback_(playback), recording_(recording) {
  QAction* const open = addAction(tr("&Open scenario…"), this, &ScenarioMenu::askWhatToOpen);
  open->setObjectName("openScenario");
  open->setShortcut(QKeySequence::Open);
  QAction* const save = addAction(tr("&Save as scenario…"), this, &ScenarioMenu::askWhereToSave);
  save->setObjectName("saveScenario");
  save->setShortcut(QKeySequence::Save);
  addSeparator();
  next_ = addAction(tr("&Next command"), this, [this] { playback_.playNext(); });
  next_->setObjectName("nextCommand");
  next_->setShortcut(Qt::Key_F10);
  playOn_ = addAction(QString(), this, [this] {
    if (playback_.isPlaying()) {
      playback_.pause();
    } else {
      playback_.playOn();
    }
  });
  playOn_->setObjectName("playOn");
  playOn_->setShortcut(Qt::Key_F8);
  connect(&playback_, &Playback::changed, this, &ScenarioMenu::refresh);
  refresh();
}

void ScenarioMenu::open(const QString& path) {
  try {
    const std::vector<Command> commands = readScenario(path.toStdString());
    playback_.add(commands);
    Q_EMIT reported(tr("%1 is open: %2 plays its next command, %3 plays on.")
                        .arg(QFileInfo(path).fileName(), next_->shortcut().toString(),
                             playOn_->shortcut().toString()));
  } catch (const std::exception& error) {
    Q_EMIT reported(QString::fromStdString(printable(error.what())) + '.');
  }
}

void ScenarioMenu::save(const QString& path, bool withExpectations) {
  std::ostringstream scenario;
  recording_.write(scenario, withExpectations);
  const std::string bytes = scenario.str();
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly) ||
      file.write(bytes.data(), static_cast<qint64>(bytes.size())) < 0 || !file.commit()) {
    Q_EMIT reported(tr("The scenario cannot be written to %1: %2.").arg(path, file.errorString()));
    return;
  }
  const auto omissions = static_cast<long>(recording_.omissions());
  QString sentence = tr("Saved in %1").arg(QFileInfo(path).fileName());
  if (omissions > 0) {
    sentence += tr("; comments name what no line can hold, in %1")
                    .arg(QString::fromStdString(plural(omissions, "place")));
  }
  Q_EMIT reported(sentence + '.');
}

void ScenarioMenu::askWhatToOpen() {
  const QString path =
      QFileDialog::getOpenFileName(parentWidget(), tr("Open scenario"), {}, tr(filter));
  if (!path.isEmpty()) open(path);
}

void ScenarioMenu::askWhereToSave() {
  // The system's own dialog has no place for the check box.
  QFileDialog dialog(parentWidget(), tr("Save as scenario"), {}, tr(filter));
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setDefaultSuffix("txt");
  auto* const expects = new QCheckBox(tr("&With expectations of the state as it is now"));
  expects->setObjectName("withExpectations");
  auto* const grid = qobject_cast<QGridLayout*>(dialog.layout());
  grid->addWidget(expects, grid->rowCount(), 0, 1, -1);
  if (dialog.exec() != QDialog::Accepted) return;
  save(dialog.selectedFiles().constFirst(), expects->isChecked());
}

void ScenarioMenu::refresh() {
  next_->setEnabled(playback_.hasNext());
  playOn_->setEnabled(playback_.hasNext());
  playOn_->setText(playback_.isPlaying() ? tr("&Pause") : tr("&Play on"));
}

}  // namespace substitute
