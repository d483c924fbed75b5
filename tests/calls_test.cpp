// The calls as code: how a line is spelled, and where substitute-host prints them.
#include "substitute/driver/Calls.h"

#include "substitute/driver/ScenarioRunner.h"
#include "tests/HostProgram.h"

namespace {

using namespace substitute;

struct Spelling {
  const char* entry;  // of the trace
  const char* code;
};

void expectSpelled(const std::vector<Spelling>& all, CallForm form) {
  for (const auto& [entry, code] : all) EXPECT_EQ(callLine(Json::parse(entry), form), code);
}

class PrintedCalls : public HostProgram {
 protected:
  // Plays `lines` as the scenario "s".
  Result play(const std::string& options, const std::string& lines) {
    writeFile(folder.path() + "/s", lines);
    return runAsTyped(options + " s");
  }

  // The output from `words` on.
  static std::string from(const std::string& words, const Result& result) {
    const auto begin = result.output.find(words);
    EXPECT_NE(begin, std::string::npos) << result.output << result.errors;
    return begin == std::string::npos ? "" : result.output.substr(begin);
  }
};

}  // namespace

TEST(Calls, AreSpelledAsCode) {
  expectSpelled(
      {{R"({"op":"Application.get","args":[],"result":"Application"})",
        "Application.get() = Application"},
       {R"({"op":"Palettes.itemById","on":"Palettes","args":["a\n\u009b"],"result":null})",
        R"(Palettes.itemById("a\n\u009b") = null)"},
       {R"({"op":"Palette.isVisible","on":"Palette:a b","args":[true],"result":true})",
        "Palette:a b.isVisible(true) = true"},
       {R"({"op":"Base.isValid","on":"CommandControl:a","args":[],"result":true})",
        "CommandControl:a.isValid() = true"},
       {R"({"op":"GeneralPreferences.userLanguage","on":"GeneralPreferences","args":[],"result":2})",
        "GeneralPreferences.userLanguage() = 2"},
       {R"({"op":"HTMLEventArgs.data","on":"HTMLEventArgs","args":[],"result":"Palette:a"})",
        R"(HTMLEventArgs.data() = "Palette:a")"},
       {R"({"op":"Application.executeTextCommand","on":"Application","args":["x"],"result":null})",
        R"(Application.executeTextCommand("x") = null)"},
       {R"({"op":"HTMLEvent.add","on":"HTMLEvent","args":["Own<int>"],"result":false})",
        "HTMLEvent.add(Own<int>) = false"},
       {R"({"op":"ToolbarControls.addCommand","on":"ToolbarControls",)"
        R"("args":["CommandDefinition:a","b",true],"result":"CommandControl:a"})",
        R"(ToolbarControls.addCommand(CommandDefinition:a, "b", true) = CommandControl:a)"},
       {R"({"event":"run"})", "run"},
       {R"({"event":"stop returned","value":false})", "stop = false"},
       {R"({"event":"notify","handler":"CmdExecuteEventHandler"})",
        "notify CmdExecuteEventHandler"},
       {R"({"event":"threw","type":"std::out_of_range","what":"gone \"away\""})",
        R"(threw std::out_of_range("gone \"away\""))"},
       {R"({"event":"open","args":["a b","c"]})", R"(open("a b", "c"))"}},
      CallForm::shortened);
}

TEST(Calls, PlannedFailuresAreNamed) {
  expectSpelled(
      {{R"({"op":"Palette.dockingState","on":"Palette:a","args":[4],"result":false,"fault":"null"})",
        "Palette:a.dockingState(4) = false  (planned)"},
       {R"({"op":"Application.preferences","on":"Application","args":[],"fault":"throw"})",
        "Application.preferences() throws  (planned)"}},
      CallForm::full);
}

TEST(Calls, LongStringsAndListsAreShortened) {
  expectSpelled(
      {{R"({"event":"open","args":["1234567890123456789012345678901234","1","2","3"]})",
        R"(open("1234567890123456789012345678901234", "1", "2", "3"))"},
       {R"({"event":"open","args":["12345678901234567890123456789012345","1","2","3","4"]})",
        R"(open("1234567890123456789012345678901234…", "1", "2", "3", …))"},
       {R"({"event":"open","args":["kůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůň"]})",
        R"(open("kůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůňk…"))"}},
      CallForm::shortened);
  const std::string broken =
      callLine({{"event", "open"}, {"args", {std::string(9999, '\x80')}}}, CallForm::shortened);
  EXPECT_LT(broken.size(), 500U);
}

TEST(Calls, FullFormHoldsAllOfThem) {
  const std::string text(9999, 'x');
  const Json entry = {{"event", "open"}, {"args", {text, "1", "2", "3", "4"}}};
  EXPECT_EQ(callLine(entry, CallForm::full), "open(\"" + text + R"(", "1", "2", "3", "4"))");
}

TEST(Calls, SpreadFormHasOneArgumentALine) {
  expectSpelled({{R"({"op":"Palettes.add","on":"Palettes","args":["a",true,300],"result":null})",
                  "Palettes.add(\n  \"a\",\n  true,\n  300\n) = null"},
                 {R"({"op":"Palettes.itemById","on":"Palettes","args":["a"],"result":null})",
                  R"(Palettes.itemById("a") = null)"}},
                CallForm::spread);
}

TEST(Calls, JsonThatIsNoEntryStaysJson) {
  for (const char* const json :
       {"{}", "[1]", "\"text\"", R"({"op":5})", R"({"op":"a.b"})", R"({"op":"a.b","args":[]})",
        R"({"event":null})", R"({"event":"notify"})", R"({"event":"threw","type":"a"})"}) {
    EXPECT_EQ(callLine(Json::parse(json), CallForm::full), json);
  }
  EXPECT_EQ(callLine(Json::parse(R"({"op":"a","args":[],"result":1})"), CallForm::full), "a() = 1");
}

TEST_F(PrintedCalls, StandBelowTheirCommand) {
  const Result result = play("--calls", "start\nremove palette teachPalete\nclick\n");
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(from("> start", result)
                .rfind("> start\n"
                       "  The add-in is loaded.\n"
                       "  run\n"
                       "    Application.get() = Application\n",
                       0),
            0U)
      << result.output;
  EXPECT_NE(result.output.find("\n  run = true\n  run returned true.\n"), std::string::npos);
  const std::string click = from("> click", result);
  EXPECT_EQ(
      click.rfind("> click\n  notify CmdCreatedEventHandler\n    CommandCreatedEventArgs.", 0), 0U)
      << click;
  for (const char* const line :
       {"\n  notify CmdExecuteEventHandler\n",
        "\n    Application.executeTextCommand(\"Debug.EntitlementString\") = "
        "\"VELORIN-EXAMPLE 2026\"\n",
        "\n    Palettes.itemById(\"teachPalete\") = null\n",
        "\n    Palettes.add(\"teachPalete\", \"Velorin\", \"https://learning.velorin.example/f…\", "
        "true, …) = Palette:teachPalete\n",
        "\n    HTMLEvent.add(RovaHTMLEventHandler) = true\n"}) {
    EXPECT_NE(click.find(line), std::string::npos) << line << click;
  }
}

TEST_F(PrintedCalls, AreWholeWhenAskedFor) {
  const std::string full = from("Palettes.add(", play("--calls=full", "start\n"));
  EXPECT_EQ(full.substr(0, full.find('\n')),
            "Palettes.add(\"teachPalete\", \"Velorin\", "
            "\"https://learning.velorin.example/fusion360/"
            "learning.asp?lang=CSY&lic=VELORIN-EXAMPLE 2026\", "
            "true, true, true, 300, 400, true) = Palette:teachPalete");
}

TEST_F(PrintedCalls, HoldWhatTheAddInThrewAndOpened) {
  const Result result = play("--calls", "start\nmessage \"a b\"\nmessage \n");
  EXPECT_NE(result.output.find("\n    open(\"a\", \"b\")\n"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("\n    threw std::out_of_range(\""), std::string::npos)
      << result.output;
}

TEST_F(PrintedCalls, OptionTakesNoWordButFull) {
  const Result wrong = play("--calls=long", "start\n");
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.errors, "substitute-host: --calls: 'long' is not full; see --help.\n");
}

TEST_F(PrintedCalls, LineOfAScenarioIsNoSuchCommand) {
  const Result result = play("", "start\ncalls 1\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_NE(result.errors.find("s:2: 'calls' is understood at the prompt alone"), std::string::npos)
      << result.errors;
}

TEST_F(PrintedCalls, TellWhereAnExpectedTraceDiffers) {
  writeFile(folder.path() + "/t",
            "{\"event\":\"run\"}\n{\"op\":\"Application.get\",\"args\":[],\"result\":null}\n");
  const Result other = play("--expect-trace t", "start\n");
  EXPECT_NE(other.output.find("\"result\":\"Application\"}\n"
                              "  expected Application.get() = null\n"
                              "  found    Application.get() = Application\n"),
            std::string::npos)
      << other.output;
  const Result shorter = play("--expect-trace t", "offline\n");
  EXPECT_NE(shorter.output.find(", found no more\n  expected run\n  found    no more\n"),
            std::string::npos)
      << shorter.output;
}

class LoggedCalls : public AddInFixture {
 protected:
  std::string linesOf(const std::string& number) const {
    try {
      return log.linesOf(number);
    } catch (const ScenarioError& error) {
      return error.what();
    }
  }

  void play(const std::string& line) { runner.play(parseCommand(line)); }

  std::ostringstream report;
  ScenarioRunner runner{*host, addinFile(), report};
  CallLog log{runner};
};

TEST_F(LoggedCalls, AreThoseOfTheLastCommandOrOfTheNth) {
  EXPECT_EQ(linesOf(""), "no command has been played");
  play("start");
  play("# Not counted.");
  play("offline");
  play("state");
  EXPECT_EQ(linesOf("1").rfind("> start\n  run\n    Application.get() = Application\n", 0), 0U)
      << linesOf("1");
  EXPECT_EQ(linesOf("2"),
            "> offline\n  notify OnlineStatusChangedHandler\n"
            "    ApplicationEventArgs.isOffLine() = true\n");
  EXPECT_EQ(linesOf(""), "> state\n  It led to no call.\n");
  for (const char* const wrong : {"0", "4", "-1", "x"}) {
    EXPECT_EQ(linesOf(wrong),
              "there is no command \"" + std::string(wrong) + "\"; the last one is 3");
  }
}
