#include "substitute/desktop/Playback.h"

#include <QElapsedTimer>
#include <algorithm>
#include <utility>

#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// Milliseconds. The second is how long the window does not react while all is played at once.
constexpr int pauseBetweenCommands = 1000;
constexpr int longestBatch = 50;

}  // namespace

Playback::Playback(Play play, QObject* parent) : QObject(parent), play_(std::move(play)) {
  timer_.setSingleShot(true);
  connect(&timer_, &QTimer::timeout, this, &Playback::step);
}

void Playback::add(const std::vector<Command>& commands) {
  for (const Command& command : commands) {
    queue_.push_back(command);
    Q_EMIT added(command);
  }
  Q_EMIT changed();
}

void Playback::playOn() {
  if (playing_) return;
  playing_ = true;
  timer_.start(0);
  Q_EMIT changed();
}

void Playback::pause() {
  timer_.stop();
  playing_ = false;
  Q_EMIT changed();
}

void Playback::playNext() {
  pause();
  step();
}

std::string Playback::notPlayed() const {
  const auto isCommand = [](const Command& command) { return !command.name.empty(); };
  const long count = std::count_if(queue_.begin(), queue_.end(), isCommand);
  if (count == 0) return "";
  return plural(count, "command") + (count == 1 ? " was" : " were") + " not played";
}

// Plays one command, or as many as the window may stand still for, and plans the next ones.
void Playback::step() {
  QElapsedTimer clock;
  clock.start();
  do {
    if (!playCommand()) return;
  } while (playing_ && hasNext() && speed_ == Speed::atOnce && clock.elapsed() < longestBatch);
  if (!hasNext()) {
    pause();
    Q_EMIT finished();
    return;
  }
  if (playing_) timer_.start(speed_ == Speed::second ? pauseBetweenCommands : 0);
  Q_EMIT changed();
}

// Plays one command and the comments before it. False when one could not be carried out.
bool Playback::playCommand() {
  bool isComment = true;
  while (isComment && hasNext()) {
    const Command command = std::move(queue_.front());
    queue_.pop_front();
    Q_EMIT dequeued();
    isComment = command.name.empty();
    const std::string why = play_(command);
    if (why.empty()) continue;
    pause();
    Q_EMIT failed(why);
    return false;
  }
  return true;
}

}  // namespace substitute
