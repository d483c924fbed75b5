// substitute-host as people and programs type it.
#include <algorithm>

#include "tests/HostProgram.h"

namespace fs = std::filesystem;
using substitute::Json;

namespace {

class CommandLine : public HostProgram {};

}  // namespace

TEST_F(CommandLine, HelpNamesEveryOptionAndCommand) {
  const Result result = runAsTyped("--help");
  EXPECT_EQ(result.status, 0);
  for (const char* const option :
       {"--addin", "--data", "--no-addin-folder", "--executable", "--language", "--entitlement",
        "--offline", "--trace", "--expect-trace", "--strict", "--timeout", "--junit", "--fresh",
        "--system-open", "--list-scenarios", "--list-operations", "--help", "--version",
        "SCENARIO"}) {
    EXPECT_NE(result.output.find(option), std::string::npos) << option;
  }
  for (const char* const command :
       {"start",      "stop",    "unload",     "click",       "message", "message-null",
        "online",     "offline", "language",   "entitlement", "hide",    "show",
        "close",      "plant",   "dock",       "info-lines",  "remove",  "fail",
        "message-to", "expect",  "expect-not", "reset",       "state"}) {
    EXPECT_NE(result.output.find("\n  " + std::string(command) + " "), std::string::npos)
        << command;
  }
}

TEST_F(CommandLine, VersionIsTheProjects) {
  const Result result = runAsTyped("--version");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "substitute-host " VELORIN_VERSION "\n");
}

TEST_F(CommandLine, AnUnknownOptionIsRefused) {
  expectRefused(run("--fast"), 2, "--fast");
}

TEST_F(CommandLine, AnOptionWithoutItsValueIsRefused) {
  expectRefused(run("--trace"), 2, "--trace");
}

TEST_F(CommandLine, AnEmptyNameIsRefused) {
  expectRefused(run("''"), 2, "empty");
  expectRefused(run("--addin '' -"), 2, "--addin");
  expectRefused(run("--trace '' -"), 2, "--trace");
  expectRefused(runAsTyped("--data '' -"), 2, "--data");
}

TEST_F(CommandLine, AnEmptyExecutableIsReported) {
  const auto seen = states(run("--executable '' --no-addin-folder -", "state\n"));
  EXPECT_EQ(seen.at(0)["infoFile"],
            "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt");
}

TEST_F(CommandLine, ALanguageThatIsNoNumberIsRefused) {
  expectRefused(run("--language Czech -"), 2, "Czech");
}

TEST_F(CommandLine, AMissingScenarioIsRefused) {
  expectRefused(run("no-such-scenario"), 2, "no-such-scenario");
}

TEST_F(CommandLine, AFolderIsNoScenario) {
  expectRefused(run("/tmp"), 2, "/tmp");
}

TEST_F(CommandLine, ALineThatIsNoCommandIsNamedBeforeAnythingRuns) {
  writeFile(folder.path() + "/wrong", "start\n\n# comment\nstop\njump high\n");
  expectRefused(run("wrong"), 2, "wrong:5: 'jump' is not a command");
}

TEST_F(CommandLine, EveryKindOfWrongLineIsRefused) {
  for (const char* const line : {"Start",
                                 "start now",
                                 "stop it",
                                 "click a b",
                                 "language",
                                 "language two",
                                 "language 1 2",
                                 "language 2147483648",
                                 "plant",
                                 "plant palette",
                                 "plant toolbar x",
                                 "plant tree x",
                                 "remove",
                                 "remove tree x",
                                 "remove palette a b",
                                 "fail",
                                 "fail Palettes.remove",
                                 "fail Palettes.add 0",
                                 "fail Palettes.add -1",
                                 "fail Palettes.add 1 never",
                                 "fail Palettes.add null 1",
                                 "fail Palettes.add 1 null x",
                                 "state all",
                                 "message-null x",
                                 "online now",
                                 "hide it now",
                                 "dock it",
                                 "dock it 5",
                                 "info-lines 3"}) {
    writeFile(folder.path() + "/wrong", "start\n" + std::string(line) + "\n");
    expectRefused(run("wrong"), 2, "wrong:2: ");
  }
}

TEST_F(CommandLine, ALibraryThatIsNotThereIsRefused) {
  expectRefused(run("--addin nothing.so -", "start\n"), 1, "nothing.so");
}

TEST_F(CommandLine, AFileThatIsNoLibraryIsRefused) {
  writeFile(folder.path() + "/text.so", "no library");
  expectRefused(run("--addin text.so -", "offline\nstart\n"), 1, "text.so");
}

TEST_F(CommandLine, ALibraryWithoutRunIsRefused) {
  expectRefused(run("--addin '" VELORIN_HOST_LIBRARY "' -", "start\n"), 1, "has no \"run\"");
}

TEST_F(CommandLine, ALibraryWithoutStopIsRefused) {
  expectRefused(run("--addin '" VELORIN_ONLY_RUN "' -", "start\n"), 1, "has no \"stop\"");
}

TEST_F(CommandLine, ATraceThatCannotBeWrittenIsRefused) {
  expectRefused(run("--trace nowhere/trace -", "start\n"), 2, "nowhere/trace");
}

TEST_F(CommandLine, AFolderThatCannotBeMadeIsRefused) {
  writeFile(folder.path() + "/file", "");
  const Result result = runAsTyped("--data file -", "start\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_NE(result.errors.find("cannot be made"), std::string::npos) << result.errors;
}

TEST_F(CommandLine, TheFirstStartsAreFoundByTheirName) {
  const Result result = run("first-starts");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  const std::string text = result.output;
  const auto count = [&](const std::string& words) {
    std::size_t found = 0;
    for (auto at = text.find(words); at != std::string::npos; at = text.find(words, at + 1)) {
      ++found;
    }
    return found;
  };
  EXPECT_EQ(count("run returned true"), 5U);
  // By itself on the first, second and fourth start, by going online on the third; on the fifth the
  // click opens it, and nothing did before.
  EXPECT_EQ(count("The palette \"Velorin\" opened at"), 5U);
  const auto fifth = text.find("# Fifth start.");
  ASSERT_NE(fifth, std::string::npos);
  EXPECT_EQ(text.find("opened at", fifth), text.find("opened at", text.find("> click", fifth)));
  EXPECT_EQ(count("stop returned true"), 5U);
  EXPECT_EQ(count("resources/Velorin/LessTen"), 1U);
  EXPECT_EQ(count("icons in \"resources/Velorin\""), 4U);
  EXPECT_EQ(count("open ran with 1 argument"), 2U);
  EXPECT_EQ(count("It holds nothing of the host any more."), 5U);
  EXPECT_NE(text.find(" / 5\n"), std::string::npos);
}

TEST_F(CommandLine, TheStateIsOneLineOfJson) {
  const Result result =
      run("--entitlement 'a b' --language 7 --offline -", "state\nstart\nstate\n");
  EXPECT_EQ(result.status, 0);
  const auto seen = states(result);
  ASSERT_EQ(seen.size(), 2U);
  std::vector<std::string> keys;
  for (const auto& [key, value] : seen[0].items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"offline", "language", "entitlement", "palettes",
                                            "toolbars", "definitions", "onlineStatusHandlers",
                                            "infoFile", "infoLines", "references", "text", "opened",
                                            "run", "stop", "thrown", "pendingFaults"}));
  EXPECT_EQ(seen[0]["offline"], true);
  EXPECT_EQ(seen[0]["language"], 7);
  EXPECT_EQ(seen[0]["entitlement"], "a b");
  EXPECT_EQ(
      seen[0]["infoFile"],
      folder.path() + "/data/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt");
  EXPECT_EQ(seen[0]["references"], 0);
  EXPECT_EQ(seen[1]["references"], 2);
  EXPECT_TRUE(fs::exists(seen[1]["infoFile"].get<std::string>()));
}

TEST_F(CommandLine, ThePalettesAndTheOpenedStandInTheState) {
  const Result result = run("-", "start\nmessage \"x y\"\nstate\n");
  const auto seen = states(result);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0]["palettes"], Json::parse(R"([{"id": "teachPalete", "title": "Velorin",
      "address": "https://learning.velorin.example/fusion360/learning.asp?lang=CSY&lic=VELORIN-EXAMPLE 2026",
      "visible": true, "dockingState": 4, "width": 300, "height": 400,
      "handlers": ["RovaHTMLEventHandler"]}])"));
  EXPECT_EQ(seen[0]["opened"], Json::parse(R"([["x", "y"]])"));
}

TEST_F(CommandLine, TheTraceHoldsEveryCallInItsOrder) {
  const Result result =
      run("--trace trace -", "offline\nstart\nfail Palettes.add throw\nonline\nstop\n");
  EXPECT_EQ(result.status, 0);
  const auto entries = trace("trace");
  ASSERT_GT(entries.size(), 20U);
  EXPECT_EQ(entries[0], Json::parse(R"({"event": "run"})"));
  EXPECT_EQ(entries[1],
            Json::parse(R"({"op": "Application.get", "args": [], "result": "Application"})"));
  EXPECT_EQ(entries[2], Json::parse(R"({"op": "Application.userInterface", "on": "Application",
      "args": [], "result": "UserInterface"})"));
  const auto threw = std::find_if(entries.begin(), entries.end(), [](const Json& entry) {
    return entry.contains("event") && entry["event"] == "threw";
  });
  ASSERT_NE(threw, entries.end());
  EXPECT_EQ((*threw)["type"], "std::runtime_error");
  EXPECT_EQ((*(threw - 1))["op"], "Palettes.add");
  EXPECT_EQ((*(threw - 1))["fault"], "throw");
  EXPECT_EQ((*(threw - 1))["args"].size(), 9U);
  EXPECT_EQ(entries.back(), Json::parse(R"({"event": "stop returned", "value": true})"));
}

TEST_F(CommandLine, AMessageIsTakenByteForByte) {
  run("--trace trace -", "start\nmessage   two spaces \nmessage\nmessage \nmessage-null\n");
  std::vector<Json> data;
  for (const Json& entry : trace("trace")) {
    if (entry.value("op", "") == "HTMLEventArgs.data") data.push_back(entry["result"]);
  }
  EXPECT_EQ(data, (std::vector<Json>{"  two spaces ", "", "", nullptr}));
}

TEST_F(CommandLine, AnExceptionIsReportedAndTheScenarioGoesOn) {
  const Result result = run("-", "start\nmessage\nmessage \"x\"\nstop\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.output.find("An exception left the add-in: std::out_of_range"),
            std::string::npos);
  EXPECT_NE(result.output.find("open ran with 1 argument: \"x\""), std::string::npos);
  EXPECT_NE(result.output.find("stop returned true"), std::string::npos);
}

TEST_F(CommandLine, WhatCannotBeDoneIsReported) {
  const Result result = run("-",
                            "stop\nunload\nclick\nmessage x\nhide\nstart\nstart\nclick no\n"
                            "remove definition runTeachPalette\nclick\nremove palette none\n"
                            "plant control HelpGroupCommand\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  for (const char* const words :
       {"The add-in is not loaded.", "There is no button \"runTeachPalette\".",
        "There is no palette \"teachPalete\"", "The add-in is loaded already.",
        "There is no button \"no\".", "has no command", "There is no palette \"none\".",
        "The host refuses the control \"HelpGroupCommand\""}) {
    EXPECT_NE(result.output.find(words), std::string::npos) << words;
  }
}

TEST_F(CommandLine, AFolderThatTheAddInWillNotFindIsReported) {
  const Result result = runAsTyped("--data AutodeskLab/h -", "start\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.errors.find("will not find its folder in AutodeskLab/h"), std::string::npos);
  EXPECT_EQ(run("-", "start\n").errors, "");
}

TEST_F(CommandLine, AnInputThatCannotBeReadIsRefused) {
  expectRefused(run("- <."), 2, "standard input cannot be read");
  expectRefused(run("- <&-"), 2, "standard input cannot be read");
}

TEST_F(CommandLine, ALibraryWithATooLongNameIsRefused) {
  expectRefused(run("--addin " + std::string(300, 'x') + " -"), 1, "File name too long");
}

TEST_F(CommandLine, FailingHostPlaysToItsEnd) {
  const Result result = run("failing-host");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  for (const char* const words :
       {"run returned true.", "An exception left the add-in: std::runtime_error",
        "std::out_of_range", "open ran with 1 argument: \"first\"."}) {
    EXPECT_NE(result.output.find(words), std::string::npos) << words;
  }
}

TEST_F(CommandLine, CarriageReturnsAtTheEndsOfLinesAreNothing) {
  const auto seen = states(run("-", "entitlement a\r\nstate\r\nentitlement\r\nstate\r\n"));
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0]["entitlement"], "a");
  EXPECT_TRUE(seen[1]["entitlement"].is_null());
}

TEST_F(CommandLine, EntitlementAloneIsNone) {
  const auto seen = states(run("-", "entitlement a  b \nstate\nentitlement\nstate\n"));
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0]["entitlement"], "a  b ");
  EXPECT_TRUE(seen[1]["entitlement"].is_null());
}

TEST_F(CommandLine, UnloadingWithoutStopLeavesNoHandler) {
  const auto seen = states(run("-", "start\nunload\nonline\nclick\nstate\n"));
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0]["onlineStatusHandlers"], Json::array());
  EXPECT_EQ(seen[0]["references"], 0);
  EXPECT_EQ(seen[0]["palettes"].size(), 1U);
  EXPECT_EQ(seen[0]["palettes"][0]["handlers"], Json::array());
}

TEST_F(CommandLine, WithoutAddinFolderNothingIsMade) {
  EXPECT_EQ(run("--no-addin-folder -", "start\nstop\n").status, 0);
  EXPECT_FALSE(fs::exists(folder.path() + "/data"));
}

TEST_F(CommandLine, TheExecutableIsReportedByteForByte) {
  fs::create_directories(folder.path() + "/x\\y/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin");
  const auto seen =
      states(run("--executable '" + folder.path() + "/x\\y/Autodesk/z' -", "start\nstate\n"));
  ASSERT_EQ(seen.size(), 1U);
  const std::string infoFile = seen[0]["infoFile"];
  EXPECT_EQ(infoFile, folder.path() +
                          "/x\\y/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt");
  EXPECT_TRUE(fs::exists(infoFile));
}

TEST_F(CommandLine, TheSystemsOpenCanRun) {
  fs::create_directory(folder.path() + "/bin");
  writeFile(folder.path() + "/bin/open", "#!/bin/sh\necho \"$1\" >opened\n");
  fs::permissions(folder.path() + "/bin/open", fs::perms::owner_all);
  const std::string path = getenv("PATH");
  setenv("PATH", (folder.path() + "/bin:" + path).c_str(), 1);
  const auto seen = states(run("--system-open -", "start\nmessage \"x\"\nstate\n"));
  setenv("PATH", path.c_str(), 1);
  EXPECT_EQ(readFile(folder.path() + "/opened"), "x\n");
  EXPECT_EQ(seen.at(0)["opened"], Json::array());
}

TEST_F(CommandLine, AFatalErrorOfTheAddInEndsTheProcess) {
  const Result result = run("-", "fail Application.preferences\nstart\nstate\n");
  EXPECT_NE(result.status, 0);
  EXPECT_NE(result.errors.find("Memory:150: operator->: Assertion `ptr_ != nullptr' failed"),
            std::string::npos);
  EXPECT_TRUE(states(result).empty());
}
