// Scenarios in processes of their own: every end is known, nothing outlasts the time limit, and
// what ends the host ends its scenarios.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <set>

#include "substitute/driver/CrashReport.h"
#include "tests/HostProgram.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZED
#endif
#endif

namespace {

class Supervisor : public HostProgram {
 protected:
  ~Supervisor() override {
    if (host_ > 0) kill(host_, SIGKILL);
  }

  // Starts the host with its output in "out"; it goes on while the test does. `arguments` name the
  // scenario "lasting", in which a call of the add-in lasts until the fifo "never" is opened for
  // writing. Returns the process that plays it.
  pid_t begin(const std::string& arguments) {
    scenario("first", "offline\n");
    scenario("lasting", "start\nmessage \"x; echo $PPID >process; cat never\"\nstop\n");
    for (const char* const fifo : {"process", "never"}) {
      mkfifo((folder.path() + "/" + fifo).c_str(), S_IRWXU);
    }
    host_ = fork();
    if (host_ == 0) {
      execl("/bin/sh", "sh", "-c", command(arguments + " >out 2>err").c_str(), nullptr);
      _exit(EXIT_FAILURE);
    }
    pid_t playing = 0;
    std::ifstream(folder.path() + "/process") >> playing;
    return playing;
  }

  // Waits until the host has ended.
  Result end() {
    int status = 0;
    waitpid(std::exchange(host_, 0), &status, 0);
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status),
            readFile(folder.path() + "/out"), readFile(folder.path() + "/err")};
  }

  // Waits until the process has ended, or is only left for its parent to ask about.
  static void expectEnd(pid_t process) {
    while (stateOf(process) != "" && stateOf(process) != "Z") usleep(1000);
  }

  pid_t host_ = 0;
};

// In this process.
class Timeout : public AddInFixture {};

}  // namespace

TEST_F(Supervisor, EveryEndBeforeTheScenariosEndIsReported) {
  const char* const handler = "(anonymous namespace)::StatusHandler";
  using Row = std::tuple<const char*, const char*, int, const char*, const char*, bool>;
  for (const auto& [misbehaviour, lines, status, underWay, command, hasStack] : std::vector<Row>{
           {"crash", "offline\nstart\nstop\n", -SIGSEGV, "run", "s:2: start", true},
           {"crash in a handler", "start\nonline\n", -SIGSEGV, handler, "s:2: online", true},
           {"crash in the host", "start\n", -SIGSEGV, "run", "s:1: start", true},
           {"crash when loaded", "start\n", -SIGSEGV, "the loading of the library", "none", true},
           {"crash when unloaded", "start\n", -SIGSEGV, "the unloading of the library", "none",
            true},
           {"crash at exit", "start\n", -SIGSEGV, "the end of the process", "s:1: start", true},
           {"abort", "start\n", -SIGABRT, "run", "s:1: start", true},
           {"divide", "start\n", -SIGFPE, "run", "s:1: start", true},
           {"interrupt", "start\n", -SIGINT, "run", "s:1: start", true},
           {"set an alarm", "start\n", -SIGALRM, "run", "s:1: start", true},
           {"use up the stack", "start\n", -SIGSEGV, "run", "s:1: start", true},
           {"exit", "start\n", 3, "run", "s:1: start", false},
           {"exit as after a timeout", "start\n", 3, "run", "s:1: start", false},
           {"_exit", "start\n", 3, "run", "s:1: start", false},
           {"_Exit", "start\n", 3, "run", "s:1: start", false},
           {"quick_exit", "start\n", 3, "run", "s:1: start", false},
           {"exit by a system call", "start\n", 3, "run", "s:1: start", false},
           {"exit in a handler", "start\nonline\n", 3, handler, "s:2: online", false},
           {"exit after writing everywhere", "start\n", 3, "run", "s:1: start", false},
           {"go on in a fork", "start\nstop\n", 3, "run", "s:1: start", false},
           {"hang", "start\n", 4, "run", "s:1: start", true},
           {"hang in the shell", "start\n", 4, "run", "s:1: start", true},
           {"hang at exit", "start\n", 4, "the end of the process", "s:1: start", true},
           {"hang in a group of its own", "start\n", 4, "run", "s:1: start", false},
           {"hang under a tracer", "start\n", 4, "run", "s:1: start", false},
       }) {
    SCOPED_TRACE(misbehaviour);
    const Result result =
        playWith(misbehaviour, lines, status == 4 ? "--timeout 1" : "--timeout 60");
    EXPECT_EQ(result.status, status);
    expectLine(result.errors,
               status == 4   ? "substitute-host: a call of the add-in has not returned after "
                               "the seconds of --timeout: 1\n"
               : status == 3 ? "substitute-host: the add-in ends the process\n"
                             : "substitute-host: the host is ended by the signal SIG");
    expectLine(result.errors, "  last call of the host: ");
    expectLine(result.errors, "  under way: " + std::string(underWay) + "\n");
    expectLine(result.errors, "  command: " + std::string(command) + "\n");
    expectLine(result.errors, "  end of the trace:\n");
    EXPECT_EQ(result.errors.find("  stack:\n") != std::string::npos, hasStack) << result.errors;
    if (status >= 0) continue;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path() + "/tmp")) << "left by a crash";
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
}

#ifndef SANITIZED  // the sanitizer finds that first, and says so
TEST_F(Supervisor, AReportNamesFunctionsOfAProcessWithCorruptMemory) {
  const Result result = playWith("spoil the memory", "start\n");
  EXPECT_EQ(result.status, -SIGABRT);
  EXPECT_NE(result.errors.find("spoilMemory() in "), std::string::npos) << result.errors;
}
#endif

TEST_F(Supervisor, ASpoiledReportSpoilsNoOtherResult) {
  scenario("harmless", "offline\n");
  const Result result = playWith("exit after writing over shared memory", "start\n", "s harmless");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "failed: s: the add-in ended the process\n");
  expectLine(result.output, "passed: harmless\n");
}

TEST_F(Supervisor, AnEndIsOneResultOfSeveral) {
  scenario("harmless", "offline\n");
  const Result result = playWith("abort", "start\nstop\n", "s harmless");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "failed: s: ended by SIGABRT\n");
  expectLine(result.output, "passed: harmless\n");
  expectLine(result.output, "      last call of the host: ");
  EXPECT_EQ(result.lastLine(), "1 passed, 2 failed\n");
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

TEST_F(Supervisor, ACopyOfTheProcessPlaysNothingAndMayEnd) {
  for (const auto& [misbehaviour, errors] :
       {std::pair("come back from a fork",
                  "The add-in has forked the process. The copy ends where it returns to the "
                  "host.\n"),
        std::pair("end a child", "")}) {
    const Result result = playWith(misbehaviour, "start\nstop\n", "--strict");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(result.errors, errors);
    EXPECT_EQ(result.output, playWith("", "start\nstop\n", "--strict").output);
  }
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

TEST_F(Supervisor, ATimeoutIsForTheHost) {
  const Result result = playWith("hang the host", "start\n", "--timeout 1 --junit r.xml");
  EXPECT_EQ(result.status, 4);
}

TEST_F(Timeout, RunsDuringACallOfTheAddInAlone) {
  static const substitute::SharedCrashRecord record = substitute::newCrashRecord();
  substitute::CrashReport::keepIn(*record);
  const substitute::CrashReport report(*host);
  std::set<bool> timed;
  const auto subscription = host->interceptor().callBegins.subscribe(
      [&](const substitute::Operation&) { timed.insert(record->begun != 0); });
  const auto expectNotTimed = [&](const char* after) { EXPECT_EQ(record->begun, 0) << after; };
  ASSERT_EQ(start(), true);
  expectNotTimed("run");
  host->setOffline(true);
  expectNotTimed("a handler");
  ASSERT_EQ(stop(), true);
  expectNotTimed("stop");
  unload();
  expectNotTimed("the unloading");
  EXPECT_EQ(timed, std::set<bool>{true});
}

TEST_F(Supervisor, WhatEndsTheHostEndsItsScenarios) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(strsignal(number));
    const pid_t playing = begin("--junit r.xml first lasting first");
    EXPECT_EQ(getpgid(playing), playing);
    kill(host_, number);
    const Result result = end();
    EXPECT_EQ(result.status, -number);
    expectEnd(playing);
    const std::string reason = "cut off by " + substitute::signalName(number);
    EXPECT_EQ(
        result.output.rfind("passed: first\nfailed: lasting: " + reason + "\n    > start\n", 0), 0U)
        << result.output;
    expectLine(result.output, "      under way: RovaHTMLEventHandler\n");
    const std::string xml = readFile(folder.path() + "/r.xml");
    EXPECT_NE(xml.find("tests=\"2\" failures=\"0\" errors=\"1\""), std::string::npos) << xml;
    EXPECT_NE(xml.find("<error message=\"" + reason + "\"/>"), std::string::npos) << xml;
    expectLine(xml, "</testsuites>\n");
  }
}

TEST_F(Supervisor, AHostThatIsKilledLeavesNoScenario) {
  const pid_t playing = begin("lasting");
  kill(host_, SIGKILL);
  EXPECT_EQ(end().status, -SIGKILL);
  expectEnd(playing);
}

TEST_F(Supervisor, AStopOfTheHostPausesItsScenariosAndTheirTimeLimit) {
  const pid_t playing = begin("--timeout 3 lasting");
  kill(host_, SIGTSTP);
  waitpid(host_, nullptr, WUNTRACED);
  while (stateOf(playing) != "T") usleep(1000);
  sleep(3);
  kill(host_, SIGCONT);
  std::ofstream(folder.path() + "/never").flush();
  EXPECT_EQ(end().status, 0);
}

TEST_F(Supervisor, TheResultsAreWholeAfterEachScenario) {
  begin("--junit r.xml first lasting");
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_NE(xml.find("tests=\"1\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("name=\"first\""), std::string::npos) << xml;
  expectLine(xml, "</testsuites>\n");
}

TEST_F(Supervisor, OutputIsWholeAndInTheOrderGiven) {
  scenario("slow", "start\nmessage \"x; cat one\"\nexpect /run 1\n");
  scenario("fast", "start\nexpect /run 2\nmessage \"x; echo >one\"\n");
  mkfifo((folder.path() + "/one").c_str(), S_IRWXU);
  const Result result = run("-j 2 --timeout 60 slow fast");
  const auto slow = result.output.find("failed: slow: slow:3: expected /run 1, found true\n");
  const auto fast = result.output.find("failed: fast: fast:2: expected /run 2, found true\n");
  EXPECT_EQ(slow, 0U) << result.output;
  EXPECT_LT(result.output.find("    3 commands, 1 expectation, 1 failed\n"), fast);
  EXPECT_EQ(result.lastLine(), "0 passed, 2 failed\n");
}
