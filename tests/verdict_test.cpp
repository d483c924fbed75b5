// The verdict of substitute-host on a scenario: expectations, findings, exit status and results.
#include "tests/HostProgram.h"

using Verdict = HostProgram;

TEST_F(Verdict, AFindingIsReportedAndFailsWhenStrict) {
  using Row = std::tuple<const char*, const char*, const char*>;
  for (const auto& [misbehaviour, lines, sentence] : std::vector<Row>{
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
    SCOPED_TRACE(sentence);
    const Result plain = playWith(misbehaviour, lines);
    EXPECT_EQ(plain.status, 0) << plain.errors;
    expectLine(plain.output, "What is suspicious:\n  " + std::string(sentence));
    const Result strict = playWith(misbehaviour, lines, "--strict");
    EXPECT_EQ(strict.status, 3);
    EXPECT_EQ(strict.output.rfind(plain.output, 0), 0U) << strict.output;
    EXPECT_NE(strict.lastLine().find(", 0 expectations, 1 failed\n"), std::string::npos);
  }
}

TEST_F(Verdict, AWrongReleaseIsToldOnceAtItsCommand) {
  for (const char* const wrong : {"release a reference twice", "free a string of its own"}) {
    const std::string output = playWith(wrong, "start\nonline\nstop\n").output;
    EXPECT_LT(output.find(" did not hold!\n"), output.find("> online\n")) << output;
    EXPECT_EQ(output.find(" did not hold!\n"), output.rfind(" did not hold!\n")) << output;
  }
}

TEST_F(Verdict, AHandlerThatOutlivesItsLibraryIsReportedAndNeverCalled) {
  for (const auto& [misbehaviour, lines] :
       {std::pair("leave a handler",
                  "start\nstop\noffline\nexpect /onlineStatusHandlers []\nstart\nstop\n"),
        // The library was loaded once more since.
        std::pair("leave a handler once", "start\nstop\nstart\nstop\n"),
        // It is another library, which ended with the add-in's.
        std::pair("leave a handler of a part", "start\nstop\nstate\noffline\n")}) {
    const Result result = playWith(misbehaviour, lines);
    EXPECT_EQ(result.status, 0) << result.errors;
    expectLine(result.output,
               "  Its handler (anonymous namespace)::StatusHandler was still registered. "
               "The host has removed it.\n");
    expectLine(result.output,
               "  The add-in left its handler (anonymous namespace)::StatusHandler registered.\n");
  }
}

TEST_F(Verdict, AHandlerMayDeleteAnotherOne) {
  const Result result =
      playWith("delete another handler", "start\noffline\nonline\nstop\n", "--strict --calls");
  EXPECT_EQ(result.status, 0) << result.output << result.errors;
  for (const char* const status : {"offline", "online"}) {
    expectLine(result.output,
               std::string("> ") + status +
                   "\n  notify (anonymous namespace)::StatusHandler\n  The host is " + status +
                   ".\n");
  }
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
        run("--addin '" VELORIN_MISBEHAVING "' -", lines + "expect /run true\nstop\n");
    unsetenv("MISBEHAVE");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.lastLine(), "3 commands, 1 expectation, 0 failed\n") << misbehaviour;
  }
}

TEST_F(Verdict, WhatTheAddInStartsFindsStandardInputEmpty) {
  scenario("s", "start\nmessage \"x; cat >eaten; echo end >>eaten\"\nstop\n");
  EXPECT_EQ(run("s", "of the user\n").status, 0);
  EXPECT_EQ(readFile(folder.path() + "/eaten"), "end\n");
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
  scenario("t", "{}\n");
  using Row = std::tuple<const char*, const char*, const char*, const char*>;
  for (const auto& [misbehaviour, lines, options, reason] : std::vector<Row>{
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
           {"hang", "start\n", "--timeout 1",
            "exit status 4: a call of the add-in took longer than --timeout"},
       }) {
    playWith(misbehaviour, lines, std::string("--junit r.xml ") + options);
    const std::string xml = readFile(folder.path() + "/r.xml");
    EXPECT_NE(xml.find("<failure message=\"" + std::string(reason) + "\"/>"), std::string::npos)
        << reason << " in\n"
        << xml;
  }
}
