// Plays the queued commands of scenarios, one after the other.
#pragma once

#include <QObject>
#include <QTimer>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "substitute/driver/Scenario.h"

namespace substitute {

class Playback : public QObject {
  Q_OBJECT

 public:
  enum class Speed {
    second,   // a second between two commands
    noPause,  // the window is refreshed after each command
    atOnce,   // the window is refreshed now and then
  };

  // Carries out a command or a comment. Returns why it could not; empty when it could.
  using Play = std::function<std::string(const Command&)>;

  Playback(Play play, QObject* parent);

  // A second a command unless set.
  void setSpeed(Speed speed) { speed_ = speed; }
  Speed speed() const { return speed_; }

  // Appends to the queue.
  void add(const std::vector<Command>& commands);

  // Plays until `pause` is called or the queue is empty.
  void playOn();
  void pause();

  // Pauses, then plays one command and the comments before it.
  void playNext();

  bool isPlaying() const { return playing_; }

  // True when the queue is not empty.
  bool hasNext() const { return !queue_.empty(); }

  // A sentence on how many commands are queued, without its full stop; empty when none is.
  std::string notPlayed() const;

 Q_SIGNALS:
  // `command` was appended to the queue.
  void added(const Command& command);

  // The first of the queue was removed. It is played next.
  void dequeued();

  // isPlaying() or hasNext() may have changed.
  void changed();

  // The queue is empty.
  void finished();

  // A command could not be carried out; playback has stopped.
  void failed(const std::string& why);

 private:
  void step();
  bool playCommand();

  Play play_;
  std::deque<Command> queue_;
  Speed speed_ = Speed::second;
  bool playing_ = false;
  QTimer timer_;
};

}  // namespace substitute
