#include "substitute/desktop/Playback.h"

#include <unistd.h>

#include <utility>

namespace substitute {

Playback::Playback(std::function<bool(const Command&)> play, QObject* parent)
    : QObject(parent), play_(std::move(play)) {
  timer_.setSingleShot(true);
  timer_.setInterval(0);
  connect(&timer_, &QTimer::timeout, this, &Playback::step);
}

void Playback::add(const std::vector<Command>& commands) {
  for (const Command& command : commands) {
    queue_.push_back(command);
    Q_EMIT added(command);
  }
  Q_EMIT changed();
}

void Playback::readInput() {
  inputNotifier_ = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
  connect(inputNotifier_.get(), &QSocketNotifier::activated, this, &Playback::readBytes);
}

void Playback::playOn() {
  if (playing_) return;
  playing_ = true;
  Q_EMIT changed();
  QTimer::singleShot(0, this, &Playback::step);
}

void Playback::pause() {
  timer_.stop();
  playing_ = false;
  Q_EMIT changed();
}

void Playback::playNext() {
  pause();
  if (!playCommand()) return;
  if (!hasNext() && !inputNotifier_) playOn();  // emits finished()
  Q_EMIT changed();
}

void Playback::step() {
  if (!playing_ || timer_.isActive()) return;
  if (hasNext()) {
    if (playCommand()) timer_.start();
    Q_EMIT changed();
  } else if (!inputNotifier_) {
    pause();
    Q_EMIT finished(std::exchange(inputError_, {}));
  }
}

// Plays one command and the comments before it. False when one could not be carried out.
bool Playback::playCommand() {
  bool isComment = true;
  while (isComment && hasNext()) {
    isComment = queue_.front().name.empty();
    if (playFront()) continue;
    pause();
    Q_EMIT failed();
    return false;
  }
  return true;
}

bool Playback::playFront() {
  const Command command = std::move(queue_.front());
  queue_.pop_front();
  Q_EMIT dequeued();
  return play_(command);
}

void Playback::readBytes() {
  char bytes[4096];
  const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
  bool ended = count <= 0;
  if (count > 0) input_.append(bytes, static_cast<std::size_t>(count));
  if (count < 0) inputError_ = "standard input cannot be read";
  if (count == 0 && !input_.empty()) input_ += '\n';
  try {
    for (auto end = input_.find('\n'); end != std::string::npos; end = input_.find('\n')) {
      const std::string line = input_.substr(0, end);
      input_.erase(0, end + 1);
      add({reader_.read(line)});
    }
  } catch (const ScenarioError& error) {
    inputError_ = error.what() + ("; see " + error.option());
    ended = true;
  }
  if (ended) {
    inputNotifier_->setEnabled(false);
    // Not deleted here: the notifier is the caller.
    inputNotifier_.release()->deleteLater();
  }
  step();
}

}  // namespace substitute
