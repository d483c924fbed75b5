#include "substitute/driver/Supervisor.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "substitute/driver/CrashReport.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Folders.h"

namespace substitute {

namespace {

constexpr std::int64_t second = 1'000'000'000;  // in nanoseconds

// Asks a child for its stack, which ends it. The function system() ignores other signals meanwhile.
constexpr int stackSignal = SIGXCPU;

int endFile = -1;  // in a child: the file that says how the scenario ended

[[noreturn]] void throwError(const std::string& what) {
  throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

// What a child writes is in temporary files. A pipe would have to be read meanwhile, and would stay
// open as long as a program runs that the add-in has started.
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File temporaryFile() {
  File file(std::tmpfile(), &std::fclose);
  if (!file) throwError("no temporary file can be made");
  return file;
}

std::string contentOf(const File& file) {
  std::string bytes;
  std::rewind(file.get());
  for (int byte = 0; (byte = std::fgetc(file.get())) != EOF;) bytes += static_cast<char>(byte);
  return bytes;
}

// The signals of this process, which arrive during wait() alone. One that is ignored or blocked
// stays so, except SIGCHLD, without which no end is noticed.
class Signals {
 public:
  Signals() {
    sigset_t waited;
    sigemptyset(&waited);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
      struct sigaction action = {};
      sigaction(number, nullptr, &action);
      if (action.sa_handler == SIG_IGN && number != SIGCHLD) continue;
      sigaddset(&waited, number);
      std::signal(number, [](int arrived) {
        if (arrived != SIGCHLD) last = arrived;  // the end of a child only ends the wait
      });
      handled_.push_back(number);
    }
    sigprocmask(SIG_BLOCK, &waited, &before_);
    duringWait_ = before_;
    sigdelset(&duringWait_, SIGCHLD);
  }
  ~Signals() { restore(); }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  void restore() const {
    for (const int number : handled_) std::signal(number, SIG_DFL);
    sigprocmask(SIG_SETMASK, &before_, nullptr);
  }

  // Waits for a signal, for a tenth of a second at most. Returns its number; 0: a child has ended
  // or stopped, or none came.
  int wait() const {
    constexpr timespec longest = {0, second / 10};
    last = 0;
    pselect(0, nullptr, nullptr, nullptr, &longest, &duringWait_);
    return last;
  }

 private:
  inline static volatile std::sig_atomic_t last = 0;
  std::vector<int> handled_;
  sigset_t before_ = {};
  sigset_t duringWait_ = {};
};

// The process that plays one task. One that shares the terminal with this process, to read there,
// stays in its group: the terminal's signals reach both.
class Child {
 public:
  Child(const ScenarioTask& task, const Supervision& how, const Signals& signals,
        bool sharesTerminal)
      : how_(how), signals_(signals), sharesTerminal_(sharesTerminal) {
    result_.name = task.name;
    std::cout.flush();
    process_ = forkChild();
    if (process_ == 0) play(task);
    if (!sharesTerminal_) setpgid(process_, process_);
  }
  ~Child() {
    if (isOver_) return;
    kill();
    waitpid(process_, nullptr, 0);
  }

  // True when the process has ended; then result() is complete.
  bool checkEnd() {
    int status = 0;
    const int stops = sharesTerminal_ ? WUNTRACED : 0;
    const bool isKnown = waitpid(process_, &status, WNOHANG | stops) == process_;
    // One that lets itself be traced is stopped by any signal.
    isStopped_ = isKnown && WIFSTOPPED(status) && WSTOPSIG(status) == SIGTSTP;
    isOver_ = isKnown && !WIFSTOPPED(status);
    if (isOver_) judge(status);
    return isOver_;
  }

  // True when the user has stopped the process, which has left the terminal in order.
  bool isStopped() const { return isStopped_; }

  const ScenarioResult& result() const { return result_; }

  // Call it often: it looks at how long the present call lasts.
  void checkTime() {
    if (askedAt_ == 0 && how_.endsCall && how_.endsCall(*record_)) {
      isEnded_ = true;
      askForStack();
    }
    if (monotonicTime() < timeLimit()) return;
    if (askedAt_ != 0) return kill();
    isTimedOut_ = true;
    askForStack();
  }

  // Ends the process, since the supervisor got the signal `number`.
  void cutOff(int number) {
    result_.isCutOff = true;
    result_.signal = number;
    if (askedAt_ != 0) return kill();
    if (record_->begun != 0) return askForStack();
    if (!sharesTerminal_) return kill();
    askedAt_ = monotonicTime();
    ::kill(process_, number);  // a line editor restores the terminal
  }

  void pause() const { ::kill(-process_, SIGSTOP); }

  // Ends a pause. Its `duration` in nanoseconds does not count for the time limit.
  void proceed(std::int64_t duration) {
    if (record_->begun != 0) record_->begun += duration;
    ::kill(sharesTerminal_ ? process_ : -process_, SIGCONT);
  }

 private:
  [[noreturn]] void play(const ScenarioTask& task) {
    signals_.restore();
    if (!sharesTerminal_) {
      setpgid(0, 0);
      std::signal(SIGTTOU, SIG_IGN);  // it may write to the terminal
    }
    if (how_.captures) {
      dup2(fileno(output_.get()), STDOUT_FILENO);
      dup2(fileno(errors_.get()), STDERR_FILENO);
    }
    if (!how_.readsInput) dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    record_->isTimedBetween = how_.captures && !how_.readsInput;  // else it may wait for a user
    CrashReport::keepIn(*record_);
    endFile = fileno(end_.get());
    const ScenarioEnd end = task.play();
    CrashReport::noteActivity("the end of the process");
    tellEnd(end);
    std::exit(end.status);
  }

  std::int64_t timeLimit() const {
    if (askedAt_ != 0) return askedAt_ + second;  // it may still be keeping its stack
    if (how_.timeout == 0) return INT64_MAX;
    const std::int64_t begun = record_->begun;
    return (begun == 0 ? monotonicTime() : begun) + how_.timeout * second;
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
    if (how_.endsPrograms) ::kill(-process_, SIGKILL);
    const Json said = Json::parse(contentOf(end_), nullptr, false);
    // A process that the add-in has forked may also say that it ended the scenario.
    const bool isComplete = said.contains("process") && said["process"] == process_;
    if (result_.isCutOff) {
      judgeSignal("cut off by ", !record_->underWay.empty());
    } else if (isEnded_) {
      fail(exit_status::timedOut, "a call of the add-in did not return");
      report("a call of the add-in has not returned and is ended");
    } else if (isTimedOut_) {
      fail(exit_status::timedOut, "a call of the add-in took longer than --timeout");
      report("a call of the add-in has not returned after the seconds of --timeout: " +
             std::to_string(how_.timeout));
    } else if (WIFSIGNALED(status)) {
      result_.signal = WTERMSIG(status);
      judgeSignal("ended by ", isReported(result_.signal, *record_));
    } else if (isComplete) {
      fail(said["status"], said["reason"]);
      result_.details = said["details"];
    } else {
      fail(exit_status::failed, "the add-in ended the process");
      report("the add-in ends the process");
    }
    result_.output = contentOf(output_);
    result_.errors = (how_.captures ? contentOf(errors_) : "") + report_;
  }

  void judgeSignal(const std::string& what, bool reports) {
    const std::string name = signalName(result_.signal);
    result_.reason = what + name;
    if (reports) report("the host is ended by the signal " + name);
  }

  void fail(int status, const std::string& reason) {
    const bool explains = status == 0 || status == exit_status::failed;
    result_.status = status;
    result_.reason = explains ? reason : "exit status " + std::to_string(status) + ": " + reason;
  }

  void report(const std::string& cause) {
    LockedFolder::removeAbandoned();
    report_ = reportOn(*record_, how_.program + ": " + cause);
  }

  const Supervision& how_;
  const Signals& signals_;
  bool sharesTerminal_;
  std::int64_t beganAt_ = monotonicTime();
  SharedCrashRecord record_ = newCrashRecord();
  File output_ = temporaryFile();
  File errors_ = temporaryFile();
  File end_ = temporaryFile();
  pid_t process_ = 0;
  std::int64_t askedAt_ = 0;  // for its stack or to end; 0: it was not
  bool isTimedOut_ = false;
  bool isEnded_ = false;  // by `endsCall`
  bool isOver_ = false;
  bool isStopped_ = false;
  std::string report_;
  ScenarioResult result_;
};

}  // namespace

int supervise(const std::vector<ScenarioTask>& tasks, const Supervision& how,
              const std::function<void(const ScenarioResult&)>& finished) {
  const Signals signals;
  const bool sharesTerminal = how.readsInput && isatty(STDIN_FILENO) == 1;
  std::map<std::size_t, std::unique_ptr<Child>> playing;  // by the number of the task
  std::map<std::size_t, ScenarioResult> done;
  std::size_t begun = 0;
  std::size_t passedOn = 0;
  int cutOffBy = 0;
  while (true) {
    while (cutOffBy == 0 && begun < tasks.size() && playing.size() < how.jobs) {
      playing[begun] = std::make_unique<Child>(tasks[begun], how, signals, sharesTerminal);
      ++begun;
    }
    if (playing.empty()) return cutOffBy;
    const int signal = signals.wait();
    bool isPaused = signal == SIGTSTP && !sharesTerminal;
    if (signal != 0 && signal != SIGTSTP) {
      cutOffBy = signal;
      for (const auto& [number, child] : playing) child->cutOff(signal);
    }
    for (const auto& [number, child] : playing) {
      child->checkTime();
      if (child->checkEnd()) done[number] = child->result();
      isPaused = isPaused || child->isStopped();
    }
    for (const auto& result : done) playing.erase(result.first);
    for (; done.count(passedOn) != 0; ++passedOn) finished(done.extract(passedOn).mapped());
    if (!isPaused) continue;
    for (const auto& [number, child] : playing) child->pause();
    const std::int64_t begin = monotonicTime();
    std::raise(SIGSTOP);
    for (const auto& [number, child] : playing) child->proceed(monotonicTime() - begin);
  }
}

pid_t forkChild() {
  const pid_t child = fork();
  if (child < 0) throwError("no process can be made");
#ifdef __linux__
  if (child == 0) prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
  return child;
}

void tellEnd(const ScenarioEnd& end) {
  const std::string said = line({{"process", getpid()},
                                 {"status", end.status},
                                 {"reason", end.reason},
                                 {"details", end.details}});
  // Where it cannot be written, it looks as if the add-in had ended the process.
  static_cast<void>(!write(endFile, said.data(), said.size()));
}

void endBySignal(int number) {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  std::signal(number, SIG_DFL);
  std::raise(number);
  std::abort();
}

}  // namespace substitute
