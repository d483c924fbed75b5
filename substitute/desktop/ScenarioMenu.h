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

  // Adds the commands of the scenario in the file `path` to what is to come, without playing them.
  // Nothing is added when one of its lines is wrong, which is told.
  void open(const QString& path);

  // Writes what was done as the scenario `path`, which is told, as is what kept it from being
  // written.
  void save(const QString& path, bool withExpectations);

 Q_SIGNALS:
  // A sentence for the user.
  void told(const QString& sentence);

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
