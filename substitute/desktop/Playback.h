// Plays the queued commands of scenarios, one after the other.
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
  // `play` carries out a command or a comment. When it returns false, playback stops.
  Playback(std::function<bool(const Command&)> play, QObject* parent);

  // The time between two commands in milliseconds; 0 unless set.
  void setInterval(int milliseconds) { timer_.setInterval(milliseconds); }

  // Appends to the queue.
  void add(const std::vector<Command>& commands);

  // Appends the lines of standard input to the queue as they arrive. To be called once.
  void readInput();

  // Plays until `pause` is called or the queue is empty and standard input has ended.
  void playOn();
  void pause();

  // Pauses, then plays one command and the comments before it.
  void playNext();

  bool isPlaying() const { return playing_; }

  // True when the queue is not empty.
  bool hasNext() const { return !queue_.empty(); }

 Q_SIGNALS:
  // `command` was appended to the queue.
  void added(const Command& command);

  // The first of the queue was removed. It is played next.
  void dequeued();

  // isPlaying() or hasNext() may have changed.
  void changed();

  // The queue is empty and standard input has ended. `error` is empty, or says in a sentence
  // without its full stop why standard input could not be read to its end.
  void finished(const std::string& error);

  // A command could not be carried out; playback has stopped.
  void failed();

 private:
  void step();
  bool playCommand();
  bool playFront();
  void readBytes();

  std::function<bool(const Command&)> play_;
  std::deque<Command> queue_;
  std::unique_ptr<QSocketNotifier> inputNotifier_;  // while standard input is read
  ScenarioReader reader_{"standard input"};
  std::string input_;  // what has been read and is no whole line yet
  std::string inputError_;
  bool playing_ = false;
  QTimer timer_;
};

}  // namespace substitute
