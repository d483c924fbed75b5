#include "substitute/driver/Supervisor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "substitute/driver/CrashReport.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/LockedFolder.h"

namespace substitute {

namespace {

constexpr std::int64_t millisecond = 1'000'000;  // in nanoseconds
constexpr std::int64_t second = 1000 * millisecond;

// Asks a child for its stack, which ends it. The function system() ignores others meanwhile.
constexpr int stackSignal = SIGXCPU;

[[noreturn]] void throwError(const std::string& what) {
  throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

class Pipe {
 public:
  Pipe() {
    if (pipe(ends_.data()) != 0) throwError("no pipe can be made");
    for (const int end : ends_) fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close(out());
    closeIn();
  }

  int out() const { return ends_[0]; }
  int in() const { return ends_[1]; }
  void closeIn() { close(std::exchange(ends_[1], -1)); }

  // Appends to `bytes` what can be read without waiting. False at the end.
  bool read(std::string& bytes) const {
    fcntl(out(), F_SETFL, O_NONBLOCK);
    std::array<char, 4096> buffer = {};
    ssize_t got = 0;
    while ((got = ::read(out(), buffer.data(), buffer.size())) > 0) {
      bytes.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return got != 0;
  }

 private:
  std::array<int, 2> ends_ = {-1, -1};
};

// Captured output in a temporary file. A pipe would stay open as long as a program runs that the
// add-in has started.
class Output {
 public:
  Output() : file_(std::tmpfile(), &std::fclose) {
    if (!file_) throwError("no temporary file can be made");
  }

  int descriptor() const { return fileno(file_.get()); }

  std::string read() const {
    std::string bytes;
    std::rewind(file_.get());
    for (int byte = std::fgetc(file_.get()); byte != EOF; byte = std::fgetc(file_.get())) {
      bytes += static_cast<char>(byte);
    }
    return bytes;
  }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

void handle(int number, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

// The signals of this process as bytes of a pipe, so that poll() waits for them, too. A signal that
// is ignored stays so.
class SignalPipe {
 public:
  SignalPipe() {
    fcntl(pipe_.in(), F_SETFL, O_NONBLOCK);
    writeEnd = pipe_.in();
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGTSTP}) {
      struct sigaction action = {};
      sigaction(number, nullptr, &action);
      if (action.sa_handler == SIG_IGN && number != SIGCHLD) continue;
      handle(number, write);
      handled_.push_back(number);
    }
  }
  ~SignalPipe() { restore(); }
  SignalPipe(const SignalPipe&) = delete;
  SignalPipe& operator=(const SignalPipe&) = delete;

  void restore() {
    for (const int number : std::exchange(handled_, {})) handle(number, SIG_DFL);
  }

  int descriptor() const { return pipe_.out(); }

  // The numbers of those that have arrived, a byte each.
  std::string take() const {
    std::string numbers;
    pipe_.read(numbers);
    return numbers;
  }

 private:
  static void write(int number) {
    const int error = errno;
    const char byte = static_cast<char>(number);
    static_cast<void>(!::write(writeEnd, &byte, 1));
    errno = error;
  }

  inline static int writeEnd = -1;
  Pipe pipe_;
  std::vector<int> handled_;
};

// Passes on what is typed at a terminal. A child may not read there, since its process group is
// another one.
class TerminalInput {
 public:
  // Makes it the standard input of this process, the child.
  void takeInChild() {
    dup2(pipe_.out(), STDIN_FILENO);
    pipe_.closeIn();
  }

  // What poll() is to wait for: room in the pipe, then a line.
  pollfd awaited() const {
    const pollfd room = {pipe_.in(), POLLOUT, 0};
    pollfd asked = room;
    return poll(&asked, 1, 0) == 0 ? room : pollfd{isAtEnd_ ? -1 : STDIN_FILENO, POLLIN, 0};
  }

  // Passes a line on when `found`, which awaited() has returned, says that there is one.
  void pass(const pollfd& found) {
    if (found.fd != STDIN_FILENO || found.revents == 0) return;
    std::array<char, 512> line = {};
    const ssize_t got = read(STDIN_FILENO, line.data(), line.size());
    // The other end stays open in this process, so that writing does not raise SIGPIPE.
    isAtEnd_ = got <= 0 || write(pipe_.in(), line.data(), static_cast<std::size_t>(got)) != got;
    if (isAtEnd_) pipe_.closeIn();
  }

 private:
  Pipe pipe_;
  bool isAtEnd_ = false;
};

// A task in its process.
class Child {
 public:
  // `input` is what it reads instead of standard input; null: that itself, if it reads it.
  Child(const ScenarioTask& task, const Supervision& how, SignalPipe& signals, TerminalInput* input)
      : how_(how), beganAt_(monotonicTime()), record_(newCrashRecord()) {
    result_.name = task.name;
    record_->program.set(how.program);
    if (how.captures) captured_.emplace();
    std::cout.flush();
    process_ = fork();
    if (process_ < 0) throwError("no process can be made");
    if (process_ == 0) play(task, signals, input);
    setpgid(process_, process_);
    pipe_.closeIn();
  }
  ~Child() {
    if (isOver_) return;
    kill();
    waitpid(process_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Where the process says how the scenario ended; -1 when it says no more.
  int descriptor() const { return saysMore_ ? pipe_.out() : -1; }

  // True when the process has ended; then result() is complete.
  bool isOver() {
    saysMore_ = pipe_.read(message_);
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) != process_) return false;
    isOver_ = true;
    pipe_.read(message_);
    judge(status);
    return true;
  }
  const ScenarioResult& result() const { return result_; }

  // When keepTime() has something to do, on the monotonic clock; nothing: never.
  std::optional<std::int64_t> deadline() const {
    if (askedAt_ != 0) return askedAt_ + second;  // it keeps its stack, or does not listen
    if (how_.timeout == 0) return {};
    const std::int64_t begun = record_->begun;
    return (begun == 0 ? monotonicTime() : begun) + how_.timeout * second;
  }

  void keepTime() {
    const auto next = deadline();
    if (!next || monotonicTime() < *next) return;
    if (askedAt_ != 0) return kill();
    isTimedOut_ = true;
    askForStack();
  }

  // Ends the process, since the supervisor got the signal `number`.
  void cutOff(int number) {
    const bool hasStack = record_->begun != 0 && askedAt_ == 0;
    result_.isCutOff = true;
    result_.signal = number;
    hasStack ? askForStack() : kill();
  }

  void pause() const { ::kill(-process_, SIGSTOP); }

  // Ends a pause. Its `duration` in nanoseconds does not count for the time limit.
  void proceed(std::int64_t duration) {
    if (record_->begun != 0) record_->begun += duration;
    ::kill(-process_, SIGCONT);
  }

 private:
  [[noreturn]] void play(const ScenarioTask& task, SignalPipe& signals, TerminalInput* input) {
    setpgid(0, 0);
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    signals.restore();
    std::signal(SIGTTOU, SIG_IGN);  // it may write to the terminal
    if (captured_) {
      dup2(captured_->first.descriptor(), STDOUT_FILENO);
      dup2(captured_->second.descriptor(), STDERR_FILENO);
    }
    if (input != nullptr) input->takeInChild();
    if (!how_.readsInput) dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    CrashReport::keepFor(*record_);
    const ScenarioEnd end = task.play();
    CrashReport::noteExit();
    std::string message = line({{"process", getpid()},
                                {"status", end.status},
                                {"reason", end.reason},
                                {"details", end.details}});
    while (!message.empty()) {
      const ssize_t written = write(pipe_.in(), message.data(), message.size());
      if (written < 0 && errno != EINTR) break;
      message.erase(0, static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    std::exit(end.status);
  }

  void askForStack() {
    askedAt_ = monotonicTime();
    ::kill(process_, stackSignal);
    ::kill(process_, SIGCONT);
  }

  void kill() const {
    ::kill(-process_, SIGKILL);
    ::kill(process_, SIGKILL);  // it may have left its group
  }

  void judge(int status) {
    result_.seconds = static_cast<double>(monotonicTime() - beganAt_) / second;
    const Json message = Json::parse(message_, nullptr, false);
    // A process that the add-in has forked may also say that it ended the scenario.
    const bool isComplete = message.is_object() && message["process"] == process_;
    if (result_.isCutOff) {
      judgeSignal("cut off by ", !record_->underWay.empty());
    } else if (isTimedOut_) {
      fail(exit_status::timedOut, "a call of the add-in took longer than --timeout");
      report(ReportCause::timeout, std::to_string(how_.timeout));
    } else if (WIFSIGNALED(status)) {
      result_.signal = WTERMSIG(status);
      judgeSignal("ended by ", isReported(result_.signal, *record_));
    } else if (isComplete) {
      fail(message["status"], message["reason"]);
      result_.details = message["details"];
    } else {
      fail(exit_status::failed, "the add-in ended the process");
      report(ReportCause::exit, "");
    }
    if (captured_) {
      result_.output = captured_->first.read();
      result_.errors = captured_->second.read();
    }
  }

  void judgeSignal(const std::string& what, bool reports) {
    const std::string name = signalName(result_.signal);
    result_.reason = what + name;
    if (reports) report(ReportCause::signal, name);
  }

  void fail(int status, const std::string& reason) {
    const bool explains = status == 0 || status == exit_status::failed;
    result_.status = status;
    result_.reason = explains ? reason : "exit status " + std::to_string(status) + ": " + reason;
  }

  void report(ReportCause cause, const std::string& detail) {
    ::kill(-process_, SIGKILL);  // what it has left running
    LockedFolder::removeAbandoned();
    writeReport(captured_ ? captured_->second.descriptor() : STDERR_FILENO, *record_, cause,
                detail.c_str(), describe(record_->stack).c_str());
  }

  const Supervision& how_;
  std::int64_t beganAt_;
  SharedCrashRecord record_;
  std::optional<std::pair<Output, Output>> captured_;
  Pipe pipe_;
  std::string message_;
  bool saysMore_ = true;
  pid_t process_ = 0;
  std::int64_t askedAt_ = 0;  // for its stack; 0: it was not
  bool isTimedOut_ = false;
  bool isOver_ = false;
  ScenarioResult result_;
};

using Playing = std::map<std::size_t, std::unique_ptr<Child>>;  // by the number of the task

// Pauses this process with its children until it is continued.
void pause(const Playing& playing) {
  for (const auto& [number, child] : playing) child->pause();
  const std::int64_t begin = monotonicTime();
  std::raise(SIGSTOP);
  for (const auto& [number, child] : playing) child->proceed(monotonicTime() - begin);
}

// Waits for a signal, for what a child says, for a line of `terminal`, or for a deadline.
void waitForNews(const Playing& playing, const SignalPipe& signals,
                 std::optional<TerminalInput>& terminal) {
  std::vector<pollfd> awaited = {{signals.descriptor(), POLLIN, 0},
                                 terminal ? terminal->awaited() : pollfd{-1, 0, 0}};
  std::optional<std::int64_t> first;
  for (const auto& [number, child] : playing) {
    awaited.push_back({child->descriptor(), POLLIN, 0});
    const auto next = child->deadline();
    if (next && (!first || *next < *first)) first = next;
  }
  int milliseconds = -1;
  if (first) {
    const std::int64_t left = std::max<std::int64_t>(*first - monotonicTime(), 0);
    milliseconds = static_cast<int>(std::min<std::int64_t>(left / millisecond + 1, INT_MAX));
  }
  if (poll(awaited.data(), static_cast<nfds_t>(awaited.size()), milliseconds) < 0) return;
  if (terminal) terminal->pass(awaited[1]);
}

}  // namespace

int supervise(const std::vector<ScenarioTask>& tasks, const Supervision& how,
              const std::function<void(const ScenarioResult&)>& finished) {
  SignalPipe signals;
  std::optional<TerminalInput> terminal;
  if (how.readsInput && isatty(STDIN_FILENO) == 1) terminal.emplace();
  Playing playing;
  std::map<std::size_t, ScenarioResult> done;
  std::size_t begun = 0;
  std::size_t passedOn = 0;
  int cutOffBy = 0;
  while (true) {
    while (cutOffBy == 0 && begun < tasks.size() && playing.size() < how.jobs) {
      playing[begun] =
          std::make_unique<Child>(tasks[begun], how, signals, terminal ? &*terminal : nullptr);
      ++begun;
    }
    if (playing.empty()) return cutOffBy;
    waitForNews(playing, signals, terminal);
    for (const char number : signals.take()) {
      if (number == SIGTSTP) pause(playing);
      if (number == SIGTSTP || number == SIGCHLD) continue;
      cutOffBy = number;
      for (const auto& [index, child] : playing) child->cutOff(number);
    }
    for (auto child = playing.begin(); child != playing.end();) {
      child->second->keepTime();
      if (!child->second->isOver()) {
        ++child;
        continue;
      }
      done[child->first] = child->second->result();
      child = playing.erase(child);
    }
    while (const auto next = done.extract(passedOn)) {
      finished(next.mapped());
      ++passedOn;
    }
  }
}

}  // namespace substitute
