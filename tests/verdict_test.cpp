// The verdict of substitute-host on a scenario: expectations, findings, exit status and results.
#include <algorithm>

#include "tests/MisbehavingAddIn.h"

namespace fs = std::filesystem;

namespace {

class Verdict : public MisbehavingAddIn {};

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

TEST_F(Verdict, EveryKeyOfTheStateCanBeExpected) {
  const std::vector<substitute::Json> before = states(play("state\n"));
  ASSERT_EQ(before.size(), 1U);
  std::string lines;
  for (const auto& [key, value] : before[0].items()) lines += "expect-not /" + key + " 99\n";
  const Result result = play(lines);
  EXPECT_EQ(result.status, 0) << result.output << result.errors;
}

TEST_F(Verdict, AKeyThatNoStateHasIsAWrongLine) {
  for (const char* const pointer : {"/palletes/0/visible", "/palletes", "/"}) {
    const Result result = play("start\nexpect-not " + std::string(pointer) + " true\n");
    EXPECT_EQ(result.status, 2) << pointer;
    EXPECT_EQ(result.output, "");
    expectLine(result.errors, "substitute-host: s:2: the state has no '");
  }
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

TEST_F(Verdict, NothingIsFoundOfASoundAddIn) {
  const Result result = playWith("", "start\nstop\n", "--strict");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output.find("suspicious"), std::string::npos);
  EXPECT_EQ(result.lastLine(), "2 commands, 0 expectations, 0 failed\n");
}

TEST_F(Verdict, AFindingIsReportedAndFailsWhenStrict) {
  struct Case {
    const char* misbehaviour;
    const char* lines;
    const char* sentence;
  };
  for (const Case& one : std::vector<Case>{
           {"throw", "start\nstop\n", "An exception left the add-in: std::__"},
           {"return false from run", "start\nstop\n", "run returned false."},
           {"return false from stop", "start\nstop\n", "stop returned false."},
           {"", "fail Palettes.add\nstart\nstop\n",
            "A failure was planned and did not happen: Palettes.add 1 null."},
           {"", "start\n", "The add-in is still loaded."},
           {"stay loaded", "start\nstop\n", "The process kept the library"},
           {"keep a reference", "start\nstop\n", "The add-in left 1 reference and 0 texts"},
           {"keep a string", "start\nstop\n", "The add-in left 0 references and 1 text"},
           {"release a reference twice", "start\nstop\n", "A reference was dropped"},
           {"free a string of its own", "start\nstop\n", "A text was handed back"},
           {"leave a palette", "start\nstop\n", "The add-in left in the host: Palette:left."},
           {"leave a handler", "start\nstop\n",
            "The add-in left its handler (anonymous namespace)::StatusHandler registered."},
       }) {
    SCOPED_TRACE(one.sentence);
    const Result plain = playWith(one.misbehaviour, one.lines);
    EXPECT_EQ(plain.status, 0) << plain.errors;
    expectLine(plain.output, "What is suspicious:\n  " + std::string(one.sentence));
    const Result strict = playWith(one.misbehaviour, one.lines, "--strict");
    EXPECT_EQ(strict.status, 3);
    EXPECT_EQ(strict.output.rfind(plain.output, 0), 0U) << strict.output;
    EXPECT_NE(strict.lastLine().find(", 0 expectations, 1 failed\n"), std::string::npos);
  }
}

TEST_F(Verdict, ACommandThatTestsNothingFailsWhenStrict) {
  for (const auto& [line, sentence] : std::vector<std::pair<std::string, std::string>>{
           {"click x", "s:1: There is no button \"x\"."},
           {"message x", "s:1: There is no palette \"teachPalete\" whose page could send that."},
           {"message-to x y", "s:1: There is no palette \"x\" whose page could send that."},
           {"hide x", "s:1: There is no palette \"x\"."},
           {"show x", "s:1: There is no palette \"x\"."},
           {"close x", "s:1: There is no palette \"x\"."},
           {"dock x 1", "s:1: There is no palette \"x\"."},
           {"remove definition x", "s:1: There is no definition \"x\"."},
           {"plant control HelpGroupCommand", "s:1: The host refuses the control "},
           {"stop", "s:1: The add-in is not loaded."},
           {"unload", "s:1: The add-in is not loaded."},
           {"# nothing", "The scenario has no command."},
       }) {
    SCOPED_TRACE(line);
    EXPECT_EQ(play(line + "\n").status, 0);
    const Result strict = play(line + "\n", "--strict");
    EXPECT_EQ(strict.status, 3);
    expectLine(strict.output, "What is suspicious:\n  " + sentence);
    EXPECT_NE(strict.lastLine().find(", 0 expectations, 1 failed\n"), std::string::npos);
  }
  EXPECT_EQ(play("reset\n", "--strict").status, 0);
}

TEST_F(Verdict, AHandlerThatOutlivesItsLibraryIsNeverCalled) {
  const Result result = playWith(
      "leave a handler", "start\nstop\noffline\nexpect /onlineStatusHandlers []\nstart\nstop\n");
  EXPECT_EQ(result.status, 0) << result.errors;
  expectLine(
      result.output,
      "  Its handler (anonymous namespace)::StatusHandler was still registered. The host has "
      "removed it.\n");
}

TEST_F(Verdict, AHandlerOfAnEarlierLibraryIsNotForgotten) {
  const Result result = playWith("leave a handler once", "start\nstop\nstart\nstop\n", "--strict");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "  The add-in left its handler (anonymous namespace)::StatusHandler ");
}

TEST_F(Verdict, AHandlerThatOutlivesAnotherLibraryOfTheAddInIsNeverCalled) {
  const Result result = playWith("leave a handler of a part", "start\nstop\nstate\noffline\n");
  EXPECT_EQ(result.status, 0) << result.errors;
  expectLine(result.output, "  The add-in left its handler (anonymous namespace)::StatusHandler ");
}

TEST_F(Verdict, AHandlerMayDeleteAnotherOne) {
  const Result result =
      playWith("delete another handler", "start\noffline\nonline\nstop\n", "--strict --trace t");
  EXPECT_EQ(result.status, 0) << result.output << result.errors;
  const std::vector<substitute::Json> all = trace("t");
  EXPECT_EQ(std::count_if(all.begin(), all.end(),
                          [](const substitute::Json& entry) { return entry.contains("handler"); }),
            2);
}

TEST_F(Verdict, ALibraryThatAUniqueSymbolKeepsIsNoFailure) {
  const Result result = play("start\nstop\noffline\nexpect /onlineStatusHandlers []\n",
                             "--strict --addin '" VELORIN_USES_REGEX "'");
#ifdef __GLIBCXX__
  expectLine(result.output, "  The add-in was let go, yet the process keeps its library.\n");
  expectLine(result.output, "  The cause is its unique symbol ");
  EXPECT_NE(result.output.find("; -fno-gnu-unique makes g++ do without such symbols.\n"),
            std::string::npos);
#endif
  EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(Verdict, ATextThatIsLeftBehindFailsWhateverKeepsTheLibrary) {
  const Result result =
      playWith("keep a string", "start\nstop\n", "--strict --addin '" VELORIN_USES_REGEX "'");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "  The add-in left 0 references and 1 text of the host's behind.\n");
}

TEST_F(Verdict, TheAddInDoesNotTouchTheScenarioOnStandardInput) {
  std::string lines = "start\n";
  for (int i = 0; i < 1000; ++i) lines += "# more than is read at once\n";
  for (const char* const misbehaviour : {"read the input", "exit in a child"}) {
    setenv("MISBEHAVE", misbehaviour, 1);
    const Result result =
        runAsTyped("--addin '" VELORIN_MISBEHAVING "' -", lines + "expect /run true\nstop\n");
    unsetenv("MISBEHAVE");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.lastLine(), "3 commands, 1 expectation, 0 failed\n") << misbehaviour;
  }
}

TEST_F(Verdict, WhatTheAddInStartsFindsStandardInputEmpty) {
  scenario("s", "start\nmessage \"x; cat >eaten; echo end >>eaten\"\nstop\n");
  EXPECT_EQ(runAsTyped("s", "of the user\n").status, 0);
  EXPECT_EQ(readFile(folder.path() + "/eaten"), "end\n");
}

TEST_F(Verdict, TheTraceIsTheExpectedOne) {
  EXPECT_EQ(play("start\nstop\n", "--trace t").status, 0);
  const Result result = play("start\nstop\n", "--expect-trace t");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(result.lastLine(), "2 commands, 1 expectation, 0 failed\n");
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
  const Result both = runAsTyped("--junit r.xml good bad");
  EXPECT_EQ(both.status, 3);
  EXPECT_EQ(both.output.rfind("passed: good\nfailed: bad: ", 0), 0U) << both.output;
  expectLine(both.output, "    bad:2: expected /run false, found true\n");
  EXPECT_EQ(both.lastLine(), "1 passed, 1 failed\n");
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_NE(xml.find("tests=\"2\" failures=\"1\" errors=\"0\""), std::string::npos) << xml;
  EXPECT_NE(xml.find("name=\"good\""), std::string::npos);
  EXPECT_NE(xml.find("name=\"bad\""), std::string::npos);
  EXPECT_NE(xml.find("bad:2: expected /run false, found true"), std::string::npos);
  const Result good = runAsTyped("good good");
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(good.output, "passed: good\npassed: good\n2 passed, 0 failed\n");
}

TEST_F(Verdict, AllLinesAreCheckedBeforeAnyScenarioPlays) {
  scenario("good", "start\nstop\n");
  scenario("wrong", "start\njump\n");
  const Result result = runAsTyped("good wrong");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  expectLine(result.errors, "substitute-host: wrong:2: ");
}

TEST_F(Verdict, WhatGoesWithOneScenarioIsRefusedWithSeveral) {
  scenario("good", "offline\n");
  for (const char* const option : {"--data d", "--trace t", "--expect-trace t"}) {
    const Result result = runAsTyped(std::string(option) + " good good");
    EXPECT_EQ(result.status, 2) << option;
    EXPECT_EQ(result.output, "");
  }
  EXPECT_EQ(runAsTyped("good -").status, 2);
  EXPECT_FALSE(fs::exists(folder.path() + "/t"));
}

TEST_F(Verdict, TheResultsAreXmlWhateverIsPrinted) {
  const Result result =
      playWith("throw strange characters",
               "# \xEF\xBF\xBE\nstart\nmessage-to teachPalete <&\"\x01\xff\n", "--junit r.xml");
  EXPECT_EQ(result.status, 0);
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_NE(xml.find("&lt;&amp;&quot;\\u0001\xEF\xBF\xBD"), std::string::npos) << xml;
  EXPECT_NE(xml.find("# \xEF\xBF\xBD\n"), std::string::npos) << xml;
  EXPECT_NE(xml.find("\\u0001\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"), std::string::npos) << xml;
  EXPECT_EQ(system(("python3 -c 'import sys, xml.dom.minidom as m; m.parse(sys.argv[1])' " +
                    folder.path() + "/r.xml")
                       .c_str()),
            0);
}

TEST_F(Verdict, TheResultsGiveTheReason) {
  writeFile(folder.path() + "/t", "{}\n");
  struct Case {
    const char* misbehaviour;
    const char* lines;
    const char* options;
    const char* reason;
  };
  for (const Case& one : std::vector<Case>{
           {"", "start\nexpect /run true\nexpect /run 1\nexpect /run 2\n", "",
            "s:3: expected /run 1, found true"},
           {"return false from run", "start\nstop\n", "--strict", "run returned false"},
           {"", "offline\n", "--expect-trace t", "t:1: expected {}, found no more"},
           {"", "start\n", "--addin nowhere.so",
            "exit status 1: there is no library nowhere.so; see --addin"},
           {"", "start\n", "--trace nowhere/t",
            "exit status 2: the trace cannot be written to nowhere/t; see --trace"},
           {"exit", "start\n", "", "the add-in ended the process"},
           {"abort", "start\n", "", "ended by SIGABRT"},
       }) {
    playWith(one.misbehaviour, one.lines, std::string("--junit r.xml ") + one.options);
    EXPECT_EQ(reasonInResults(), one.reason);
  }
}

TEST_F(Verdict, AnExpectationIsComparedAsItIsPrinted) {
  const Result result =
      play("start\nmessage \"\xFF\"\nexpect /opened/0/0 \"\xEF\xBF\xBD\"\nstop\n");
  EXPECT_EQ(result.status, 0) << result.output;
}
