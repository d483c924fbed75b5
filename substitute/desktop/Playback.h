// Plays what is to come of a scenario, step by step.
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "substitute/driver/Scenario.h"

namespace substitute {

class Playback : public QObject {
  Q_OBJECT

 public:
  // `play` carries out a command or a comment. False: it could not, and nothing more is played.
  Playback(std::function<bool(const Command&)> play, QObject* parent);

  // So long each step stands, in milliseconds; 0 at the beginning.
  void setPause(int milliseconds) { timer_.setInterval(milliseconds); }

  // These come behind what is to come already.
  void add(const std::vector<Command>& commands);

  // So do the lines of standard input, as they arrive. Once.
  void readInput();

  // Plays on by itself, until `pause` or until all has been played.
  void playOn();
  void pause();

  // Plays one command, with the comments before it, and no further.
  void playNext();

  bool isPlaying() const { return playing_; }

  // True when something is to come.
  bool hasNext() const { return !commands_.empty(); }

 Q_SIGNALS:
  // A command comes behind the others; the first one is played now.
  void added(const Command& command);
  void taken();

  // isPlaying() or hasNext() differs from before.
  void changed();

  // All has been played. `error` says what kept standard input from being read to its end: a
  // sentence without a full stop, or nothing.
  void finished(const std::string& error);

  // A command could not be carried out.
  void failed();

 private:
  void step();
  bool playCommand();
  bool playFirst();
  void readBytes();

  std::function<bool(const Command&)> play_;
  std::deque<Command> commands_;
  std::unique_ptr<QSocketNotifier> notifier_;  // while standard input is read
  ScenarioReader reader_{"standard input"};
  std::string input_;  // what has arrived of the next lines
  std::string inputError_;
  bool playing_ = false;
  QTimer timer_;
};

}  // namespace substitute
