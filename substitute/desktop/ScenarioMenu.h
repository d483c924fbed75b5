// The menu that opens, plays and saves scenarios.
#pragma once

#include <QMenu>

#include "substitute/driver/Recording.h"

namespace substitute {

class Playback;

class ScenarioMenu : public QMenu {
  Q_OBJECT

 public:
  // Both outlive the menu.
  ScenarioMenu(Playback& playback, const Recording& recording, QWidget* parent);

  // Appends the commands of the scenario in the file `path` to the queue, without playing them.
  // Nothing is appended when one of its lines is wrong. Either way `reported` is emitted.
  void open(const QString& path);

  // Writes the recording as a scenario to the file `path` and emits `reported`, also on failure.
  void save(const QString& path, bool withExpectations);

 Q_SIGNALS:
  // The result of `open` or `save`, one sentence for the user.
  void reported(const QString& sentence);

 private:
  void askWhatToOpen();
  void askWhereToSave();
  void refresh();

  Playback& playback_;
  const Recording& recording_;
  QAction* next_;
  QAction* playOn_;
};

}  // namespace substitute
