// The calls as code: how a line is spelled, and the log of those that were made.
#include "substitute/driver/Calls.h"

#include "substitute/driver/ScenarioRunner.h"
#include "tests/AddInFixture.h"

namespace {

using namespace substitute;

struct Spelling {
  const char* entry;  // of the trace
  const char* code;
};

void expectSpelled(const std::vector<Spelling>& all, CallForm form) {
  for (const auto& [entry, code] : all) EXPECT_EQ(callLine(Json::parse(entry), form), code);
}

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
