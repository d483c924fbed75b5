// The verdict of substitute-host on a scenario: expectations, what is suspicious, exit status,
// results and the crash report.
#include <unistd.h>

#include <csignal>

#include "substitute/driver/CrashReport.h"
#include "tests/HostProgram.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZED
#endif
#endif

namespace fs = std::filesystem;

namespace {

class Verdict : public HostProgram {
 protected:
  // A scenario in the test's folder.
  void scenario(const std::string& name, const std::string& lines) {
    writeFile(folder.path() + "/" + name, lines);
  }

  Result run(const std::string& arguments) {
    setenv("MISBEHAVE", misbehave.c_str(), 1);
    // What the add-in leaves behind is for the host to tell, not for a sanitizer.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    Result result = runAsTyped(arguments);
    unsetenv("MISBEHAVE");
    unsetenv("ASAN_OPTIONS");
    return result;
  }

  Result play(const std::string& lines, const std::string& options = "") {
    scenario("s", lines);
    return run(options + " s");
  }

  // The same with the library "misbehaving".
  Result playWith(const std::string& misbehaviour, const std::string& lines,
                  const std::string& options = "") {
    misbehave = misbehaviour;
    return play(lines, "--addin '" VELORIN_MISBEHAVING "' " + options);
  }

  // The message in r.xml for the one scenario in it that did not pass.
  std::string reasonInResults() const {
    const std::string xml = readFile(folder.path() + "/r.xml");
    const std::string before = "<failure message=\"";
    const auto found = xml.find(before);
    if (found == std::string::npos) return "none in " + xml;
    const auto begin = found + before.size();
    return xml.substr(begin, xml.find('"', begin) - begin);
  }

  // `part` is a line of the output, or the beginning of one, without its indentation.
  static void expectLine(const std::string& text, const std::string& part) {
    EXPECT_NE(("\n" + text).find("\n" + part), std::string::npos)
        << "missing: " << part << "\nin:\n"
        << text;
  }

  // Expects the end by a signal, after a report with `command` and `underWay`.
  static void expectReported(const Result& result, int signal, const std::string& underWay,
                             const std::string& command) {
    EXPECT_EQ(result.status, -signal);
    expectLine(result.errors, "substitute-host: the host is ended by the signal SIG");
    expectLine(result.errors, "  last call of the host: ");
    expectLine(result.errors, "  under way: " + underWay + "\n");
    expectLine(result.errors, "  command: " + command + "\n");
    expectLine(result.errors, "  end of the trace:\n");
    expectLine(result.errors, "  stack:\n");
  }

  std::string misbehave;
};

// In this process.
class Timeout : public AddInFixture {};

}  // namespace

TEST_F(Verdict, WhatIsAsExpectedIsNotRepeated) {
  const Result with = play("start\nexpect /run true\nexpect /palettes/0/visible true\nstop\n");
  const Result without = play("start\nstop\n");
  EXPECT_EQ(with.status, 0);
  EXPECT_EQ(with.output, without.output + "4 commands, 2 expectations, 0 failed\n");
  EXPECT_EQ(with.errors, "");
}

TEST_F(Verdict, AFailedExpectationIsReportedAndTheScenarioGoesOn) {
  const Result result = play("start\n\nexpect /palettes/0/width 301\nexpect-not /run true\nstop\n");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "s:3: expected /palettes/0/width 301, found 300\n");
  expectLine(result.output, "s:4: expected not /run true, found true\n");
  expectLine(result.output, "  stop returned true.");
  EXPECT_EQ(result.lastLine(), "4 commands, 2 expectations, 2 failed\n");
}

TEST_F(Verdict, AMissingValueFailsExpectAndHoldsForExpectNot) {
  const Result result = play(
      "expect /palettes/0 null\nexpect-not /palettes/0 null\nexpect-not /palettes/x 1\n"
      "expect-not /palettes/99999999999999999999 1\nexpect-not /offline/a false\n");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "s:1: expected /palettes/0 null, found nothing\n");
  EXPECT_EQ(result.lastLine(), "5 commands, 5 expectations, 1 failed\n");
}

TEST_F(Verdict, ObjectsAreEqualInAnyOrderOfTheirKeys) {
  EXPECT_EQ(play("expect /toolbars [{\"controls\": [{\"class\": \"CommandControl\", \"id\": "
                 "\"HelpGroupCommand\"}], \"id\": \"QATRight\"}]\n")
                .status,
            0);
}

TEST_F(Verdict, TheStateHoldsWhatWasReturnedThrownAndPlanned) {
  const Result result = play(
      "expect /run null\nexpect /stop null\nexpect /thrown []\nexpect /infoLines []\n"
      "fail Palettes.add 2\nfail Toolbars.itemById 1 throw\nfail Palettes.add 3 throw\n"
      "expect /pendingFaults [\"Palettes.add 2 null\", \"Toolbars.itemById 1 throw\", "
      "\"Palettes.add 3 throw\"]\n"
      "start\nexpect /run null\nexpect /thrown [\"std::runtime_error\"]\n"
      "expect /pendingFaults [\"Palettes.add 1 null\", \"Palettes.add 2 throw\"]\n"
      "expect /infoLines/1 \"1\"\nexpect-not /infoLines/2 \"\"\n"
      "unload\nstart\nexpect /run true\nremove toolbar QATRight\nstop\nexpect /stop false\n");
  EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(Verdict, TheInfoFileIsRemoved) {
  const Result result = play(
      "reset\nstart\nstop\nexpect /infoLines/1 \"1\"\nreset\nexpect /infoLines []\nstart\n"
      "expect /infoLines/1 \"1\"\nstop\n");
  EXPECT_EQ(result.status, 0) << result.output;
  expectLine(result.output, "> reset\n  There is no info file.\n");
  expectLine(result.output, "> reset\n  The info file reads: nothing\n");
}

TEST_F(Verdict, EveryPaletteCanSendAMessage) {
  const Result result = play(
      "start\nmessage-to  teachPalete   a b \nmessage-to teachPalete \nmessage-to none x\n"
      "expect /opened [[\"a\", \"b\"]]\nexpect /thrown [\"std::out_of_range\"]\n",
      "--trace t");
  EXPECT_EQ(result.status, 0) << result.output;
  expectLine(result.output, "  There is no palette \"none\" whose page could send that.\n");
  EXPECT_NE(readFile(folder.path() + "/t").find(R"("result":"  a b ")"), std::string::npos);
}

TEST_F(Verdict, NothingSuspiciousIsReportedOfASoundAddIn) {
  const Result result = playWith("", "start\nstop\n", "--strict");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output.find("suspicious"), std::string::npos);
  EXPECT_EQ(result.lastLine(), "2 commands, 0 expectations, 0 failed\n");
}

TEST_F(Verdict, WhatIsSuspiciousIsReportedAndFailsWhenStrict) {
  struct Case {
    std::string misbehaviour;
    std::string lines;
    std::string sentence;
  };
  for (const Case& one : std::vector<Case>{
           {"throw", "start\nstop\n", "An exception left the add-in: std::__"},
           {"return false", "start\nstop\n", "run returned false."},
           {"return false from stop", "start\nstop\n", "stop returned false."},
           {"", "fail Palettes.add\nstart\nstop\n",
            "A failure was planned and did not happen: Palettes.add 1 null."},
           {"", "start\n", "The add-in is still loaded."},
           {"stay", "start\nstop\n", "The process kept the library"},
           {"keep a reference", "start\nstop\n", "The add-in left 1 reference and 0 texts"},
           {"keep a text", "start\nstop\n", "The add-in left 0 references and 1 text"},
           {"drop a reference", "start\nstop\n", "A reference was dropped"},
           {"hand back a text twice", "start\nstop\n", "A text was handed back"},
       }) {
    const Result plain = playWith(one.misbehaviour, one.lines);
    EXPECT_EQ(plain.status, 0) << one.misbehaviour << plain.errors;
    expectLine(plain.output, "What is suspicious:\n  " + one.sentence);
    const Result strict = playWith(one.misbehaviour, one.lines, "--strict");
    EXPECT_EQ(strict.status, 3) << one.misbehaviour;
    EXPECT_EQ(strict.output.rfind(plain.output, 0), 0U) << strict.output;
    EXPECT_NE(strict.lastLine().find(" commands, 0 expectations, 1 failed\n"), std::string::npos);
  }
}

TEST_F(Verdict, TheTraceIsTheExpectedOne) {
  EXPECT_EQ(play("start\nstop\n", "--trace t").status, 0);
  const Result result = play("start\nstop\n", "--expect-trace t");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.lastLine(), "2 commands, 1 expectations, 0 failed\n");
}

TEST_F(Verdict, TheFirstLineOfTheTraceThatDiffersIsReported) {
  writeFile(
      folder.path() + "/t",
      "{\"event\": \"run\"}\n{\"args\": [], \"op\": \"Application.get\", \"result\": null}\n");
  const Result other = play("start\nstop\n", "--expect-trace t");
  EXPECT_EQ(other.status, 3);
  expectLine(other.output,
             "t:2: expected {\"args\": [], \"op\": \"Application.get\", \"result\": null}, found "
             "{\"op\":\"Application.get\",\"args\":[],\"result\":\"Application\"}\n");
  const Result shorter = play("offline\n", "--expect-trace t");
  EXPECT_EQ(shorter.status, 3);
  expectLine(shorter.output, "t:1: expected {\"event\": \"run\"}, found no more\n");
  writeFile(folder.path() + "/t", "");
  const Result longer = play("start\nstop\n", "--expect-trace t");
  EXPECT_EQ(longer.status, 3);
  expectLine(longer.output, "t:1: expected no more, found {\"event\":\"run\"}\n");
}

TEST_F(Verdict, AnExpectedTraceThatIsNoneIsRefused) {
  writeFile(folder.path() + "/t", "{\"event\": \"run\"}\nrun\n");
  const Result wrong = play("start\n", "--expect-trace t");
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.output, "");
  expectLine(wrong.errors, "substitute-host: t:2: ");
  EXPECT_EQ(play("start\n", "--expect-trace nowhere").status, 2);
}

TEST_F(Verdict, SeveralScenariosAreJudgedEach) {
  scenario("good", "start\nexpect /run true\nstop\n");
  scenario("bad", "start\nexpect /run false\nstop\n");
  const Result both = run("--junit r.xml good bad");
  EXPECT_EQ(both.status, 3);
  EXPECT_EQ(both.output.rfind("passed: good\nfailed: bad: ", 0), 0U) << both.output;
  expectLine(both.output, "    bad:2: expected /run false, found true\n");
  EXPECT_EQ(both.lastLine(), "1 passed, 1 failed\n");
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_NE(xml.find("tests=\"2\" failures=\"1\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("name=\"good\""), std::string::npos);
  EXPECT_NE(xml.find("name=\"bad\""), std::string::npos);
  EXPECT_NE(xml.find("bad:2: expected /run false, found true"), std::string::npos);
  const Result good = run("good good");
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(good.output, "passed: good\npassed: good\n2 passed, 0 failed\n");
}

TEST_F(Verdict, ACrashIsOneResultOfSeveral) {
  scenario("s", "start\nstop\n");
  scenario("harmless", "offline\n");
  misbehave = "abort";
  const Result result = run("--addin '" VELORIN_MISBEHAVING "' s harmless");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "failed: s: ended by SIGABRT\n");
  expectLine(result.output, "      last call of the host: ");
  expectLine(result.output, "passed: harmless\n");
}

TEST_F(Verdict, AllLinesAreCheckedBeforeAnyScenarioPlays) {
  scenario("good", "start\nstop\n");
  scenario("wrong", "start\njump\n");
  const Result result = run("good wrong");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  expectLine(result.errors, "substitute-host: wrong:2: ");
}

TEST_F(Verdict, WhatGoesWithOneScenarioIsRefusedWithSeveral) {
  scenario("good", "offline\n");
  for (const char* const option : {"--data d", "--trace t", "--expect-trace t"}) {
    const Result result = run(std::string(option) + " good good");
    EXPECT_EQ(result.status, 2) << option;
    EXPECT_EQ(result.output, "");
  }
  EXPECT_EQ(run("good -").status, 2);
  EXPECT_FALSE(fs::exists(folder.path() + "/t"));
}

TEST_F(Verdict, TheResultOfOneScenarioIsWritten) {
  const Result result =
      play("start\nmessage-to teachPalete <&\"\x01\xff\nexpect /run false\n", "--junit r.xml");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.lastLine(), "3 commands, 1 expectations, 1 failed\n");
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_NE(xml.find("&lt;&amp;&quot;\\u0001\xEF\xBF\xBD"), std::string::npos) << xml;
  EXPECT_EQ(playWith("abort", "start\n", "--junit r.xml").status, -SIGABRT);
  EXPECT_EQ(reasonInResults(), "ended by SIGABRT");
  EXPECT_EQ(play("start\n", "--junit nowhere/r.xml").status, 2);
}

TEST_F(Verdict, TheResultsGiveTheReason) {
  const std::string option = "--junit r.xml ";
  play("start\nexpect /run true\nexpect /run 1\nexpect /run 2\n", option);
  EXPECT_EQ(reasonInResults(), "s:3: expected /run 1, found true");
  playWith("return false", "start\nstop\n", option + "--strict");
  EXPECT_EQ(reasonInResults(), "run returned false");
  writeFile(folder.path() + "/t", "{}\n");
  play("offline\n", option + "--expect-trace t");
  EXPECT_EQ(reasonInResults(), "t:1: expected {}, found no more");
  play("start\n", option + "--addin nowhere.so");
  EXPECT_EQ(reasonInResults(), "exit status 1: there is no library nowhere.so; see --addin");
  play("start\n", option + "--trace nowhere/t");
  EXPECT_EQ(reasonInResults(),
            "exit status 2: the trace cannot be written to nowhere/t; see --trace");
  playWith("exit", "start\n", option);
  EXPECT_EQ(reasonInResults(), "the add-in ended the process");
}

TEST_F(Verdict, AnExpectationIsComparedAsItIsPrinted) {
  const Result result =
      play("start\nmessage \"\xFF\"\nexpect /opened/0/0 \"\xEF\xBF\xBD\"\nstop\n");
  EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(Verdict, ASignalThatOthersSendIsReportedDuringACall) {
  const Result result = play("start\nmessage \"x; kill -USR1 $PPID\"\n");
  EXPECT_EQ(result.status, -SIGUSR1);
  EXPECT_NE(result.errors.find("ended by the signal SIGUSR1"), std::string::npos) << result.errors;
  expectReported(playWith("raise SIGINT", "start\n"), SIGINT, "run", "s:1: start");
  expectReported(playWith("raise SIGALRM", "start\n"), SIGALRM, "run", "s:1: start");
}

TEST_F(Verdict, ASignalThatIsIgnoredStaysIgnored) {
  signal(SIGHUP, SIG_IGN);
  const Result result = play("start\nmessage \"x; kill -HUP $PPID\"\nstop\n");
  signal(SIGHUP, SIG_DFL);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
}

TEST_F(Verdict, ACrashIsReported) {
  const Result result = playWith("crash", "offline\nstart\nstop\n");
  expectReported(result, SIGSEGV, "run", "s:2: start");
  expectLine(result.errors,
             "  last call of the host: ApplicationEvent.add, which had returned, by run\n");
  EXPECT_NE(result.errors.find("writeNowhere"), std::string::npos) << result.errors;
  EXPECT_NE(result.errors.find("run in "), std::string::npos) << result.errors;
  expectLine(result.errors, "    substitute::ScenarioRunner::play(substitute::Command const&) in ");
  expectLine(result.errors, "    {\"event\":\"run\"}\n");
}

TEST_F(Verdict, EveryWayToCrashIsReported) {
  expectReported(playWith("abort", "start\n"), SIGABRT, "run", "s:1: start");
  expectReported(playWith("raise", "start\n"), SIGFPE, "run", "s:1: start");
  expectReported(playWith("use up the stack", "start\n"), SIGSEGV, "run", "s:1: start");
#ifndef SANITIZED  // the sanitizer finds that first, and says so
  const Result spoilt = playWith("spoil the memory", "start\n");
  expectReported(spoilt, SIGABRT, "run", "s:1: start");
  EXPECT_NE(spoilt.errors.find("ScenarioRunner"), std::string::npos) << spoilt.errors;
#endif
  expectReported(playWith("crash in a handler", "start\nonline\n"), SIGSEGV,
                 "(anonymous namespace)::StatusHandler", "s:2: online");
}

TEST_F(Verdict, ALibraryThatCrashesByItselfIsReported) {
  expectReported(playWith("crash when loaded", "start\n"), SIGSEGV, "the loading of the library",
                 "none");
  expectReported(playWith("crash when unloaded", "start\n"), SIGSEGV,
                 "the unloading of the library", "none");
}

TEST_F(Verdict, ACallInWhichTheHostCrashesHasNotReturned) {
  const Result result = playWith("crash in the host", "start\n");
  expectReported(result, SIGSEGV, "run", "s:1: start");
  expectLine(result.errors,
             "  last call of the host: Palettes.itemById, which had not returned, by run\n");
}

TEST_F(Verdict, AnAddInThatEndsTheProcessDoesNotPass) {
  for (const char* const way : {"exit", "_exit", "_Exit", "quick_exit"}) {
    SCOPED_TRACE(way);
    const Result result = playWith(way, "start\nstop\n");
    EXPECT_EQ(result.status, 3);
    expectLine(result.errors, "substitute-host: the add-in ends the process\n");
    expectLine(result.errors, "  command: s:1: start\n");
    expectLine(result.errors, "    run in libmisbehaving.so at ");
  }
}

TEST_F(Verdict, OfSeveralScenariosEachMustComeToItsEnd) {
  scenario("s", "start\nstop\n");
  scenario("harmless", "offline\n");
  misbehave = "end the process by a system call";
  const Result result = run("--addin '" VELORIN_MISBEHAVING "' s harmless");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.output.rfind("failed: s: the add-in ended the process\n", 0), 0U)
      << result.output;
  EXPECT_EQ(result.lastLine(), "1 passed, 1 failed\n");
  const Result alone = run("--junit r.xml --addin '" VELORIN_MISBEHAVING "' s");
  EXPECT_EQ(alone.status, 3);
  EXPECT_EQ(alone.errors, "substitute-host: the add-in ended the process.\n");
}

TEST_F(Verdict, AChildOfTheAddInMayEnd) {
  const Result result = playWith("end a child", "start\nstop\n", "--strict");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.errors, "");
}

TEST_F(Verdict, AnAddInThatDoesNotComeBackIsEnded) {
  const Result result = playWith("hang", "start\nstop\n", "--timeout 1 --junit r.xml");
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(reasonInResults(), "exit status 4: a call of the add-in took longer than --timeout");
  expectLine(result.errors, "  under way: run\n");
  expectLine(result.errors, "  command: s:1: start\n");
  const Result handler = playWith("hang in a handler", "start\nonline\n", "--timeout 1");
  EXPECT_EQ(handler.status, 4);
  expectLine(handler.errors, "  under way: (anonymous namespace)::StatusHandler\n");
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

TEST_F(Verdict, ATimeoutIsANumberOfSeconds) {
  EXPECT_EQ(play("start\nonline\nstop\n", "--timeout 60").status, 0);
  for (const char* const seconds : {"0", "-1", "soon", "''"}) {
    EXPECT_EQ(play("start\n", "--timeout " + std::string(seconds)).status, 2) << seconds;
  }
}
