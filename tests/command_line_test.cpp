// substitute-host as people and programs type it.
#include <algorithm>

#include "substitute/driver/Scenario.h"
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
       {"--addin",           "--data",        "--no-addin-folder", "--executable",
        "--language",        "--entitlement", "--offline",         "--trace",
        "--expect-trace",    "--strict",      "--timeout",         "--calls",
        "--junit",           "--fresh",       "--system-open",     "--list-scenarios",
        "--list-operations", "--help",        "--version",         "SCENARIO"}) {
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

TEST_F(CommandLine, AScenarioThatCannotBeReadIsRefused) {
  expectRefused(run("''"), 2, "empty");
  expectRefused(run("/tmp"), 2, "/tmp");
  expectRefused(run("- <."), 2, "standard input cannot be read");
  expectRefused(run("- <&-"), 2, "standard input cannot be read");
}

TEST_F(CommandLine, ALibraryThatIsNoAddInIsRefused) {
  expectRefused(run("--addin nothing.so -"), 1, "nothing.so");
  expectRefused(run("--addin '" VELORIN_HOST_LIBRARY "' -"), 1, "has no \"run\"");
  expectRefused(run("--addin '" VELORIN_ONLY_RUN "' -"), 1, "has no \"stop\"");
  expectRefused(run("--addin " + std::string(300, 'x') + " -"), 1, "File name too long");
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
                                 "info-lines 3",
                                 "expect",
                                 "expect /run",
                                 "expect-not /run ",
                                 "expect run true",
                                 "expect /a~2 1",
                                 "expect /run tru",
                                 "expect /run true false"}) {
    EXPECT_THROW(substitute::parseCommand(line), substitute::ScenarioError) << line;
  }
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

TEST_F(CommandLine, EntitlementAloneIsNone) {
  const auto seen = states(run("-", "entitlement a\nstate\nentitlement\nstate\n"));
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0]["entitlement"], "a");
  EXPECT_TRUE(seen[1]["entitlement"].is_null());
}

TEST_F(CommandLine, CarriageReturnsAtTheEndsOfLinesAreIgnored) {
  const auto seen = states(run("-", "entitlement a  b \r\nstate\r\nentitlement\r\nstate\r\n"));
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0]["entitlement"], "a  b ");
  EXPECT_TRUE(seen[1]["entitlement"].is_null());
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
