// Scenarios in processes of their own: every end is known, nothing outlasts the time limit, and
// what ends the host ends its scenarios.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>

#include "substitute/driver/CrashReport.h"
#include "tests/MisbehavingAddIn.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* bySignal = "substitute-host: the host is ended by the signal SIG";
constexpr const char* byExit = "substitute-host: the add-in ends the process\n";

class Supervisor : public MisbehavingAddIn {
 protected:
  ~Supervisor() override {
    if (host_ > 0) kill(host_, SIGKILL);
  }

  // Starts the host with its output in "out"; it goes on while the test does.
  void begin(const std::string& arguments) {
    host_ = fork();
    if (host_ != 0) return;
    execl("/bin/sh", "sh", "-c", command(arguments + " >out 2>err").c_str(), nullptr);
    _exit(EXIT_FAILURE);
  }

  // Waits until the host has ended.
  Result end() {
    int status = 0;
    waitpid(std::exchange(host_, 0), &status, 0);
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status),
            readFile(folder.path() + "/out"), readFile(folder.path() + "/err")};
  }

  void makeFifo(const std::string& name) {
    ASSERT_EQ(mkfifo((folder.path() + "/" + name).c_str(), S_IRWXU), 0);
  }

  // Waits for a line that a scenario's message has written to the fifo `name`.
  std::string lineFrom(const std::string& name) const {
    std::ifstream fifo(folder.path() + "/" + name);
    std::string line;
    std::getline(fifo, line);
    return line;
  }

  // The process that plays the scenario, from a scenario that writes it to the fifo "process".
  pid_t playingProcess() const { return std::stoi(lineFrom("process")); }

  // Waits until the process has ended, or is only left for its parent to ask about.
  static void expectEnd(pid_t process) {
    while (stateOf(process) != "" && stateOf(process) != "Z") usleep(1000);
  }

  pid_t host_ = 0;
};

// In this process.
class Timeout : public AddInFixture {};

// Tells its process, then lets a call of the add-in last until the test's end.
constexpr const char* lasting = "start\nmessage \"x; echo $PPID >process; cat never\"\nstop\n";

}  // namespace

TEST_F(Supervisor, EveryEndBeforeTheScenariosEndIsReported) {
  struct Case {
    const char* misbehaviour;
    const char* lines;
    int status;
    const char* underWay;
    const char* command;
  };
  const char* const handler = "(anonymous namespace)::StatusHandler";
  for (const Case& one : std::vector<Case>{
           {"crash", "offline\nstart\nstop\n", -SIGSEGV, "run", "s:2: start"},
           {"crash in a handler", "start\nonline\n", -SIGSEGV, handler, "s:2: online"},
           {"crash in the host", "start\n", -SIGSEGV, "run", "s:1: start"},
           {"crash when loaded", "start\n", -SIGSEGV, "the loading of the library", "none"},
           {"crash when unloaded", "start\n", -SIGSEGV, "the unloading of the library", "none"},
           {"crash at exit", "start\n", -SIGSEGV, "the end of the process", "s:1: start"},
           {"abort", "start\n", -SIGABRT, "run", "s:1: start"},
           {"divide", "start\n", -SIGFPE, "run", "s:1: start"},
           {"interrupt", "start\n", -SIGINT, "run", "s:1: start"},
           {"set an alarm", "start\n", -SIGALRM, "run", "s:1: start"},
           {"use up the stack", "start\n", -SIGSEGV, "run", "s:1: start"},
           {"exit", "start\n", 3, "run", "s:1: start"},
           {"exit as after a timeout", "start\n", 3, "run", "s:1: start"},
           {"_exit", "start\n", 3, "run", "s:1: start"},
           {"_Exit", "start\n", 3, "run", "s:1: start"},
           {"quick_exit", "start\n", 3, "run", "s:1: start"},
           {"exit by a system call", "start\n", 3, "run", "s:1: start"},
           {"exit in a handler", "start\nonline\n", 3, handler, "s:2: online"},
           {"exit after writing everywhere", "start\n", 3, "run", "s:1: start"},
           {"go on in a fork", "start\nstop\n", 3, "run", "s:1: start"},
       }) {
    SCOPED_TRACE(one.misbehaviour);
    const Result result = playWith(one.misbehaviour, one.lines, "--timeout 60");
    EXPECT_EQ(result.status, one.status);
    expectLine(result.errors, one.status < 0 ? bySignal : byExit);
    expectLine(result.errors, "  last call of the host: ");
    expectLine(result.errors, "  under way: " + std::string(one.underWay) + "\n");
    expectLine(result.errors, "  command: " + std::string(one.command) + "\n");
    expectLine(result.errors, "  end of the trace:\n");
    const bool isSystemCall = std::strcmp(one.misbehaviour, "exit by a system call") == 0 ||
                              std::strcmp(one.misbehaviour, "exit in a handler") == 0 ||
                              std::strcmp(one.misbehaviour, "exit after writing everywhere") == 0;
    EXPECT_NE(result.errors.find("  stack:\n") != std::string::npos, isSystemCall) << result.errors;
  }
}

TEST_F(Supervisor, AReportNamesTheCallTheTraceAndTheFunctions) {
  const Result result = playWith("crash", "offline\nstart\nstop\n");
  expectLine(result.errors,
             "  last call of the host: ApplicationEvent.add, which had returned, by run\n");
  expectLine(result.errors, "    {\"event\":\"run\"}\n");
  EXPECT_NE(result.errors.find("writeNowhere() in libmisbehaving.so at 0x"), std::string::npos)
      << result.errors;
  expectLine(result.errors, "    run in libmisbehaving.so at 0x");
  expectLine(result.errors, "    substitute::ScenarioRunner::play(substitute::Command const&) in ");
  const Result host = playWith("crash in the host", "start\n");
  expectLine(host.errors,
             "  last call of the host: Palettes.itemById, which had not returned, by run\n");
  const Result exit = playWith("exit", "start\n");
  expectLine(exit.errors, "    run in libmisbehaving.so at 0x");
}

#ifndef SANITIZED  // the sanitizer finds that first, and says so
TEST_F(Supervisor, AReportNamesFunctionsOfAProcessWithCorruptMemory) {
  const Result result = playWith("spoil the memory", "start\n");
  EXPECT_EQ(result.status, -SIGABRT);
  EXPECT_NE(result.errors.find("spoilMemory() in "), std::string::npos) << result.errors;
}
#endif

TEST_F(Supervisor, ASpoiledReportSpoilsNoOtherResult) {
  setenv("MISBEHAVE", "exit after writing over shared memory", 1);
  scenario("bad", "start\n");
  const Result result = play("state\n", "--addin '" VELORIN_MISBEHAVING "' bad");
  unsetenv("MISBEHAVE");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "failed: bad: the add-in ended the process\n");
  expectLine(result.output, "passed: s\n");
}

TEST_F(Supervisor, ACrashLeavesNoFolder) {
  playWith("abort", "start\n");
  EXPECT_TRUE(fs::is_empty(folder.path() + "/tmp"));
}

TEST_F(Supervisor, AnEndIsOneResultOfSeveral) {
  scenario("s", "start\nstop\n");
  scenario("harmless", "offline\n");
  for (const auto& [misbehaviour, reason] : std::vector<std::pair<std::string, std::string>>{
           {"abort", "ended by SIGABRT"},
           {"exit by a system call", "the add-in ended the process"},
       }) {
    setenv("MISBEHAVE", misbehaviour.c_str(), 1);
    const Result result = runAsTyped("--addin '" VELORIN_MISBEHAVING "' s harmless");
    unsetenv("MISBEHAVE");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output.rfind("failed: s: " + reason + "\n", 0), 0U) << result.output;
    expectLine(result.output, "      last call of the host: ");
    expectLine(result.output, "passed: harmless\n");
    EXPECT_EQ(result.lastLine(), "1 passed, 1 failed\n");
  }
}

TEST_F(Supervisor, ASignalThatOthersSendIsReportedDuringACall) {
  const Result result = play("start\nmessage \"x; kill -USR1 $PPID\"\n");
  EXPECT_EQ(result.status, -SIGUSR1);
  EXPECT_NE(result.errors.find("ended by the signal SIGUSR1"), std::string::npos) << result.errors;
}

TEST_F(Supervisor, OutputThatNobodyReadsIsNoCrash) {
  scenario("s", "start\nstop\n");
  const int status = system((command("--calls s") + " 2>err | true").c_str());
  EXPECT_EQ(status, 0);
  EXPECT_EQ(readFile(folder.path() + "/err"), "");
}

TEST_F(Supervisor, ASignalThatIsIgnoredStaysIgnored) {
  signal(SIGHUP, SIG_IGN);
  const Result result = play("start\nmessage \"x; kill -HUP $PPID\"\nstop\n");
  signal(SIGHUP, SIG_DFL);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
}

TEST_F(Supervisor, TheEndIsNoticedWhereItsSignalWasBlocked) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGCHLD);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(play("start\nstop\n").status, 0);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(Supervisor, AChildOfTheAddInMayEnd) {
  const Result result = playWith("end a child", "start\nstop\n", "--strict");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.errors, "");
}

TEST_F(Supervisor, ACopyOfTheProcessDoesNotPlay) {
  const Result result = playWith("come back from a fork", "start\nstop\n");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.output, playWith("", "start\nstop\n").output);
}

TEST_F(Supervisor, WhatTheAddInLeavesRunningEndsWithTheScenario) {
  const Result result = play("start\nmessage \"x; sleep 1000 & echo $! >left\"\nstop\n");
  EXPECT_EQ(result.status, 0);
  expectEnd(std::stoi(readFile(folder.path() + "/left")));
}

TEST_F(Supervisor, WhatTheSystemsOpenStartsStays) {
  scenario("s", "start\nmessage \"x; sleep 1000 & echo $! >left\"\nstop\n");
  EXPECT_EQ(run("--system-open s").status, 0);
  const pid_t left = std::stoi(readFile(folder.path() + "/left"));
  while (stateOf(left) != "S") usleep(1000);  // it sleeps
  kill(left, SIGKILL);
}

TEST_F(Supervisor, NothingOutlastsTheTimeLimit) {
  struct Case {
    std::string misbehaviour;
    const char* underWay;
    bool hasStack;
  };
  const std::vector<Case> cases = {
      {"hang", "run", true},
      {"hang in a handler", "(anonymous namespace)::StatusHandler", true},
      {"hang in the shell", "run", true},
      {"hang at exit", "the end of the process", true},
      {"hang without signals", "run", false},
      {"hang in a group of its own", "run", false},
      {"hang under a tracer", "run", false},
  };
  scenario("s", "start\nonline\nstop\n");
  std::string all;
  for (const Case& one : cases) {  // all at once, since each takes its time
    const std::string files = "\"" + one.misbehaviour + ".";
    all.append("( MISBEHAVE='").append(one.misbehaviour).append("'; export MISBEHAVE; ");
    all.append(command("--timeout 1 --addin '" VELORIN_MISBEHAVING "' s")).append(" >");
    all.append(files).append("out\" 2>").append(files).append("err\" </dev/null; ) & ");
    all.append("echo $! >").append(files).append("process\"; ");
  }
  for (const Case& one : cases) {
    all.append("wait $(cat \"").append(one.misbehaviour).append(".process\"); echo $? >\"");
    all.append(one.misbehaviour).append(".status\"; ");
  }
  ASSERT_EQ(system(("cd '" + folder.path() + "'; " + all).c_str()), 0);
  for (const Case& one : cases) {
    SCOPED_TRACE(one.misbehaviour);
    EXPECT_EQ(readFile(folder.path() + "/" + one.misbehaviour + ".status"), "4\n");
    const std::string errors = readFile(folder.path() + "/" + one.misbehaviour + ".err");
    expectLine(errors,
               "substitute-host: a call of the add-in has not returned after the seconds of "
               "--timeout: 1\n");
    expectLine(errors, "  under way: " + std::string(one.underWay) + "\n");
    EXPECT_EQ(errors.find("  stack:\n") != std::string::npos, one.hasStack) << errors;
  }
}

TEST_F(Supervisor, ATimeoutIsForTheHost) {
  const Result result = playWith("hang the host", "start\n", "--timeout 1 --junit r.xml");
  EXPECT_EQ(result.status, 4);
}

TEST_F(Timeout, RunsDuringACallOfTheAddInAlone) {
  const substitute::CrashReport report(*host, "timeout", 1000);
  unsigned timed = 0;
  unsigned calls = 0;
  const auto subscription =
      host->interceptor().callBegins.subscribe([&](const substitute::Operation&) {
        const unsigned left = alarm(1000);
        ++calls;
        if (left > 0) ++timed;
      });
  const auto expectNotTimed = [](const char* after) { EXPECT_EQ(alarm(0), 0U) << after; };
  ASSERT_EQ(start(), true);
  expectNotTimed("run");
  host->setOffline(true);
  expectNotTimed("a handler");
  ASSERT_EQ(stop(), true);
  expectNotTimed("stop");
  unload();
  expectNotTimed("the unloading");
  EXPECT_GT(calls, 0U);
  EXPECT_EQ(timed, calls);
}

TEST_F(Supervisor, WhatEndsTheHostEndsItsScenarios) {
  scenario("first", "offline\n");
  scenario("second", lasting);
  makeFifo("process");
  makeFifo("never");
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(strsignal(number));
    begin("--junit r.xml first second first");
    const pid_t playing = playingProcess();
    EXPECT_EQ(getpgid(playing), playing);
    kill(host_, number);
    const Result result = end();
    EXPECT_EQ(result.status, -number);
    expectEnd(playing);
    const std::string reason = "cut off by " + substitute::signalName(number);
    EXPECT_EQ(
        result.output.rfind("passed: first\nfailed: second: " + reason + "\n    > start\n", 0), 0U)
        << result.output;
    expectLine(result.output, "      under way: RovaHTMLEventHandler\n");
    const std::string xml = readFile(folder.path() + "/r.xml");
    EXPECT_NE(xml.find("tests=\"2\" failures=\"0\" errors=\"1\""), std::string::npos) << xml;
    EXPECT_NE(xml.find("<error message=\"" + reason + "\"/>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("</testsuites>\n"), std::string::npos) << xml;
  }
}

TEST_F(Supervisor, AHostThatIsKilledLeavesNoScenario) {
  scenario("s", lasting);
  makeFifo("process");
  makeFifo("never");
  begin("s");
  const pid_t playing = playingProcess();
  kill(host_, SIGKILL);
  EXPECT_EQ(end().status, -SIGKILL);
  expectEnd(playing);
}

TEST_F(Supervisor, AStopOfTheHostPausesItsScenarios) {
  scenario("s", lasting);
  makeFifo("process");
  makeFifo("never");
  begin("s");
  const pid_t playing = playingProcess();
  kill(host_, SIGTSTP);
  int status = 0;
  waitpid(host_, &status, WUNTRACED);
  EXPECT_TRUE(WIFSTOPPED(status));
  while (stateOf(playing) != "T") usleep(1000);
  kill(host_, SIGCONT);
  while (stateOf(playing) == "T") usleep(1000);
}

TEST_F(Supervisor, APauseDoesNotCountForTheTimeLimit) {
  scenario("s", lasting);
  makeFifo("process");
  makeFifo("never");
  begin("--timeout 3 s");
  playingProcess();
  kill(host_, SIGTSTP);
  waitpid(host_, nullptr, WUNTRACED);
  sleep(3);
  kill(host_, SIGCONT);
  std::ofstream(folder.path() + "/never").flush();
  EXPECT_EQ(end().status, 0);
}

TEST_F(Supervisor, TheResultsAreWholeAfterEachScenario) {
  scenario("first", "offline\n");
  scenario("second", lasting);
  makeFifo("process");
  makeFifo("never");
  begin("--junit r.xml first second");
  playingProcess();
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_NE(xml.find("tests=\"1\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("name=\"first\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("</testsuites>\n"), std::string::npos) << xml;
}

TEST_F(Supervisor, OutputIsWholeAndInTheOrderGiven) {
  scenario("slow", "start\nmessage \"x; cat one\"\nexpect /run 1\n");
  scenario("fast", "start\nexpect /run 2\nmessage \"x; echo >one\"\n");
  makeFifo("one");
  const Result result = runAsTyped("-j 2 --timeout 60 slow fast");
  const auto slow = result.output.find("failed: slow: slow:3: expected /run 1, found true\n");
  const auto fast = result.output.find("failed: fast: fast:2: expected /run 2, found true\n");
  EXPECT_EQ(slow, 0U) << result.output;
  EXPECT_LT(result.output.find("    3 commands, 1 expectation, 1 failed\n"), fast);
  EXPECT_EQ(result.lastLine(), "0 passed, 2 failed\n");
}
