// The data folders of substitute-host, its input, and its errors for wrong options and lines.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>

#include "tests/HostProgram.h"

namespace fs = std::filesystem;

namespace {

class HostData : public HostProgram {
 protected:
  std::string infoFile(const Result& result) { return states(result).at(0)["infoFile"]; }

  // The folders that are left in the directory for temporary files.
  std::size_t temporaryFolders() {
    const fs::directory_iterator all(folder.path() + "/tmp");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
};

class ScenarioInput : public HostProgram {};

class Options : public HostProgram {
 protected:
  // Expects one sentence that contains `words` and ends with the option that helps.
  void expectMisuse(const Result& result, const std::string& words,
                    const std::string& option = "--help") {
    expectRefused(result, 2, words);
    const std::string end = "; see " + option + ".\n";
    EXPECT_EQ(
        result.errors.substr(result.errors.size() - std::min(end.size(), result.errors.size())),
        end)
        << result.errors;
  }
};

// The names of the scenarios that come with the host, sorted.
std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  for (const auto& file : fs::directory_iterator(VELORIN_SCENARIOS)) {
    names.push_back(file.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class ProgramOutput : public HostProgram {};

}  // namespace

TEST_F(HostData, AScenarioGetsANewTemporaryFolderEachTime) {
  writeFile(folder.path() + "/s", "start\nstate\nstop\n");
  for (const char* const arguments : {"s", "s", "--fresh s", "- <s"}) {
    const Result result = runAsTyped(arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(infoFile(result).rfind(folder.path() + "/tmp/", 0), 0U) << infoFile(result);
    EXPECT_EQ(states(result).at(0)["infoLines"][1], "1");
    EXPECT_FALSE(fs::exists(infoFile(result)));
  }
  EXPECT_EQ(temporaryFolders(), 0U);
  EXPECT_FALSE(fs::exists(folder.path() + "/.local"));
}

TEST_F(HostData, AScenarioWithDataKeepsIt) {
  for (const char* const count : {"1", "2"}) {
    EXPECT_EQ(states(run("-", "start\nstate\n")).at(0)["infoLines"][1], count);
  }
}

TEST_F(HostData, FreshDoesNotGoWithData) {
  const Result result = run("--fresh first-starts");
  expectRefused(result, 2, "--fresh and --data do not go together; see --help.");
}

TEST_F(HostData, AnExecutableOfOnesOwnMakesNoFolder) {
  const std::string there = folder.path() + "/x/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin";
  const std::string option = "--executable '" + folder.path() + "/x/Autodesk/bin/Fusion' -";
  const Result missing = run(option, "start\n");
  EXPECT_EQ(missing.output.rfind(
                "The add-in will look in " + there + ", which is not there.\n> start\n", 0),
            0U)
      << missing.output;
  EXPECT_FALSE(fs::exists(folder.path() + "/x"));
  EXPECT_FALSE(fs::exists(folder.path() + "/data"));
  fs::create_directories(there);
  const Result present = run(option, "start\n");
  EXPECT_EQ(present.output.rfind("The add-in will look in " + there + ", which is there.\n", 0), 0U)
      << present.output;
}

TEST_F(HostData, WhatADeadHostLeftIsRemovedAndNothingElse) {
  const std::string dead = folder.path() + "/tmp/velorin-host-dead";
  const std::string living = folder.path() + "/tmp/velorin-host-living";
  const std::string users = folder.path() + "/tmp/velorin-host-notes";
  for (const std::string& one : {dead, living, users}) fs::create_directory(one);
  for (const std::string& one : {dead, living}) writeFile(one + "/.temporary", "");
  writeFile(dead + "/open", "");
  const int lock = open(living.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  EXPECT_EQ(run("-", "start\n").status, 0);
  EXPECT_FALSE(fs::exists(dead));
  EXPECT_TRUE(fs::exists(living));
  EXPECT_TRUE(fs::exists(users));
  close(lock);
}

// A host that starts does not remove the folder of one that runs.
TEST_F(HostData, HostsThatLiveAtOnceKeepTheirFolders) {
  const Input first = start("-");
  first.write("start\n");
  waitFor("run returned true.");
  EXPECT_EQ(runAsTyped("-", "start\nmessage \"a\"\n").status, 0);
  EXPECT_EQ(temporaryFolders(), 2U);  // the data's and that of `open`
  first.write("message \"b\"\nstop\n");
  waitFor("stop returned true.");
  waitFor("open ran with 1 argument: \"b\".");
}

TEST_F(HostData, AFolderThatAnotherHostUsesIsNamed) {
  const std::string data = folder.path() + "/data";
  {
    const Input other = start("--data '" + data + "' -");
    other.write("offline\n");
    waitFor("The host is offline.");
    const Result result = run("-", "online\n");
    EXPECT_EQ(result.output, "Another host is using " + data + ".\n> online\n");
    EXPECT_EQ(result.status, 0);
  }
  EXPECT_EQ(run("-", "online\n").output, "> online\n");
}

TEST_F(ScenarioInput, WithoutScenarioStandardInputIsPlayed) {
  const Result result = run("", "offline\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "> offline\n  The host is offline.\n");
  EXPECT_EQ(run("", "").output, "");
}

TEST_F(ScenarioInput, EachLineIsAnsweredAsItArrives) {
  const Input input = start("-");
  input.write("offline\n");
  waitFor("The host is offline.");
  input.write("online\n");
  waitFor("The host is online.");
}

TEST_F(ScenarioInput, AWrongLineEndsItAndWhatWasPlayedIsKept) {
  const Result result = run("--trace trace -", "start\n\njump\nstop\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.output.find("run returned true."), std::string::npos);
  EXPECT_EQ(result.output.find("stop returned"), std::string::npos);
  EXPECT_EQ(result.errors.rfind("substitute-host: standard input:3: 'jump' is not a command", 0),
            0U)
      << result.errors;
  EXPECT_EQ(trace("trace").back(),
            substitute::Json::parse(R"({"event": "run returned", "value": true})"));
}

TEST_F(ScenarioInput, AByteOrderMarkIsSkipped) {
  writeFile(folder.path() + "/s", "\xef\xbb\xbfoffline\n");
  EXPECT_EQ(run("s").output, "> offline\n  The host is offline.\n");
  EXPECT_EQ(run("-", "\xef\xbb\xbf# a\n").output, "\n# a\n");
  const Result second = run("-", "offline\n\xef\xbb\xbfoffline\n");
  EXPECT_EQ(second.status, 2);
}

TEST_F(ScenarioInput, ALineWithAZeroByteIsRefused) {
  writeFile(folder.path() + "/s", std::string("start\nmessage a\0b\n", 18));
  expectRefused(run("s"), 2, "s:2: the line holds a zero byte");
  writeFile(folder.path() + "/s", std::string("# a\0b\n", 6));
  expectRefused(run("s"), 2, "s:1: the line holds a zero byte");
}

TEST_F(Options, AnEqualsSignAloneGivesTheEmptyValue) {
  writeFile(folder.path() + "/s", "state\n");
  const Result result = run("--executable= --entitlement= s");
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(states(result).at(0)["entitlement"], "");
  EXPECT_EQ(states(result).at(0)["infoFile"],
            "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt");
}

TEST_F(Options, AnEmptyValueIsRefusedWhereItCannotBeMeant) {
  writeFile(folder.path() + "/s", "start\n");
  for (const char* const option : {"--addin", "--trace", "--expect-trace", "--junit"}) {
    expectMisuse(run(std::string(option) + "= s"), std::string(option) + ": the value is empty");
  }
  expectMisuse(runAsTyped("--data= s"), "--data: the value is empty");
  expectMisuse(run("--language= s"), "'' is not a 32-bit number");
  expectMisuse(run("--timeout= s"), "'' is not a number of seconds");
  expectMisuse(run("--strict= s"), "--strict takes no value");
  EXPECT_EQ(readFile(folder.path() + "/s"), "start\n");
}

TEST_F(Options, WhatCannotBeWrittenNamesTheOptionThatHelps) {
  writeFile(folder.path() + "/s", "start\n");
  expectMisuse(run("--trace nowhere/t s"), "the trace cannot be written to nowhere/t", "--trace");
  const Result lost = runAsTyped("--trace /dev/full s");
  EXPECT_EQ(lost.status, 2);
  EXPECT_EQ(lost.errors, "substitute-host: the trace could not be written in full; see --trace.\n");
  expectMisuse(run("--junit nowhere/r s"), "the results cannot be written to nowhere/r", "--junit");
  expectMisuse(run("--expect-trace nowhere s"), "the expected trace nowhere cannot be read",
               "--expect-trace");
  expectMisuse(runAsTyped("--data s/d s"), "the folder s/d/Autodesk", "--data");
  fs::remove_all(folder.path() + "/tmp");
  expectRefused(runAsTyped("s"), 2, "TMPDIR names no folder; let it name one.");
}

TEST_F(Options, WordsOfThePromptAreRefusedInAScenario) {
  for (const char* const word : {"quit", "exit"}) {
    writeFile(folder.path() + "/s", std::string(word) + "\n");
    expectMisuse(run("s"),
                 "s:1: '" + std::string(word) +
                     "' is understood at the prompt alone; a scenario ends with its last line");
  }
  writeFile(folder.path() + "/s", "help\n");
  expectMisuse(run("s"), "s:1: 'help' is understood at the prompt alone");
}

TEST_F(Options, AValueMayBeginAsAnOptionDoes) {
  EXPECT_EQ(states(run("--language -1 --entitlement -x -", "state\n")).at(0)["entitlement"], "-x");
}

TEST_F(Options, AnOptionNeverTakesAnotherForItsValue) {
  expectMisuse(run("--trace --offline -"), "--trace wants a value, FILE");
  expectMisuse(run("--trace"), "--trace wants a value, FILE");
}

TEST_F(Options, AnUnknownOptionNamesTheNearest) {
  expectMisuse(run("--ofline -"), "there is no option --ofline; the nearest are --offline, ");
}

TEST_F(Options, AnUnknownScenarioNamesThoseThatThereAre) {
  std::string names;
  for (const std::string& name : scenarioNames()) names += (names.empty() ? "" : ", ") + name;
  expectMisuse(run("first-start"), "there is no scenario first-start; there are " + names + "; ",
               "--list-scenarios");
}

TEST_F(Options, WhatBeginsAsTypedIsNearest) {
  writeFile(folder.path() + "/s", "fail Pal\n");
  expectMisuse(run("s"),
               "s:1: 'Pal' is not an operation of the host; the nearest are Palettes.add, "
               "Palette.deleteMe, Palette.isVisible",
               "--list-operations");
}

TEST_F(Options, AWrongLineNamesWhatIsNearest) {
  writeFile(folder.path() + "/s", "fail Palettes.ad\n");
  expectMisuse(run("s"),
               "s:1: 'Palettes.ad' is not an operation of the host; the nearest are Palettes.add, ",
               "--list-operations");
  writeFile(folder.path() + "/s", "strat\n");
  expectMisuse(run("s"), "s:1: 'strat' is not a command; the nearest are start, ");
  writeFile(folder.path() + "/s", "plant tree x\n");
  expectMisuse(run("s"),
               "s:1: 'tree' is not a kind of object; there are palette, definition, control, "
               "toolbar, plain-control");
}

TEST_F(Options, ScenariosAndOperationsAreListed) {
  const Result scenarios = runAsTyped("--list-scenarios");
  EXPECT_EQ(scenarios.status, 0);
  std::string all;
  for (const std::string& name : scenarioNames()) all += name + "\n";
  EXPECT_NE(all.find("first-starts\n"), std::string::npos);
  EXPECT_EQ(scenarios.output, all);
  const Result operations = runAsTyped("--list-operations");
  EXPECT_EQ(operations.status, 0);
  EXPECT_EQ(operations.output.rfind("Application.get\n", 0), 0U);
  std::istringstream names(operations.output);
  std::string lines;
  for (std::string name; std::getline(names, name);) lines += "fail " + name + "\n";
  EXPECT_EQ(run("-", lines).status, 0);
}

TEST_F(Options, TheLanguageIsReadInOneWay) {
  for (const char* const word : {"0x10", "+3", "3.0", "1e3", "2147483648"}) {
    expectMisuse(run("--language=" + std::string(word) + " -"), "is not a 32-bit number");
    const Result line = run("-", "language " + std::string(word) + "\n");
    fs::remove_all(folder.path() + "/data");
    EXPECT_EQ(line.status, 2) << word;
  }
  expectMisuse(run("--language=' 3' -"), "is not a 32-bit number");
  for (const std::string& word : std::vector<std::string>{"-3", "007", "2147483647"}) {
    const auto seen = states(
        run("--language " + word + " -", "state\nlanguage 1\nlanguage " + word + "\nstate\n"));
    EXPECT_EQ(seen.at(0)["language"], std::stoi(word));
    EXPECT_EQ(seen.at(0), seen.at(1));
  }
}

TEST_F(Options, ATraceOverwritesNothingOfTheRun) {
  writeFile(folder.path() + "/s", "start\n");
  writeFile(folder.path() + "/wanted", "{}\n");
  fs::copy_file(VELORIN_BUILT_ADDIN, folder.path() + "/lib.so");
  fs::create_symlink("s", folder.path() + "/link");
  for (const char* const arguments :
       {"--trace s s", "--trace ./s s", "--trace link s", "--trace s link",
        "--trace lib.so --addin lib.so s", "--expect-trace wanted --trace wanted s",
        "--trace 'data/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt' s"}) {
    expectMisuse(run(arguments), "--trace would overwrite ");
  }
  expectMisuse(run("--expect-trace wanted --junit wanted s"), "--junit would overwrite wanted");
  expectMisuse(run("--junit s s"), "--junit would overwrite s");
  expectMisuse(run("--trace - s"), "--trace wants a file");
  EXPECT_EQ(readFile(folder.path() + "/s"), "start\n");
  EXPECT_FALSE(fs::exists(folder.path() + "/-"));
  EXPECT_EQ(run("--trace ./- s").status, 0);
}

TEST_F(Options, NoMessageOfTheLoaderIsPassedOn) {
  fs::create_directory(folder.path() + "/lib");
  writeFile(folder.path() + "/text.so", "no library");
  writeFile(folder.path() + "/cut.so",
            "\x7f"
            "ELF");
  expectRefused(run("--addin lib -"), 1,
                "the library lib cannot be loaded: it is a folder; see --addin.");
  expectRefused(
      run("--addin text.so -"), 1,
      "the library text.so cannot be loaded: it is no library of this system; see --addin.");
  expectRefused(
      run("--addin cut.so -"), 1,
      "the library cut.so cannot be loaded: the system's loader refuses it; see --addin.");
}

TEST_F(ProgramOutput, ControlCharactersAreEscaped) {
  const Result result = run("-",
                            "# \x1b[31m\tred\nentitlement \x1b]0;x\x07\nstart\n"
                            "message \"\x1b[2J\xc2\x9b\x7f\"\nclick \x08\nstate\n");
  EXPECT_EQ(result.status, 0);
  const auto isControl = [](char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return (value < 0x20 && byte != '\n') || value == 0x7f;
  };
  EXPECT_EQ(std::count_if(result.output.begin(), result.output.end(), isControl), 0);
  EXPECT_EQ(result.output.find("\xc2\x9b"), std::string::npos);
  for (const char* const words :
       {"# \\u001b[31m\\tred", "open ran with 1 argument: \"\\u001b[2J\\u009b\\u007f\".",
        "There is no button \"\\u0008\"."}) {
    EXPECT_NE(result.output.find(words), std::string::npos) << words;
  }
  EXPECT_EQ(states(result).at(0)["opened"][0][0], "\x1b[2J\xc2\x9b\x7f");
}

TEST_F(ProgramOutput, ControlCharactersOfTheCommandLineAreEscaped) {
  const Result result = run("\"$(printf 'a\\033[31m\\nb')\"");
  expectRefused(result, 2, "there is no scenario a\\u001b[31m\\nb; ");
}

TEST_F(ProgramOutput, LostOutputIsReported) {
  writeFile(folder.path() + "/s", "offline\n");
  for (const char* const arguments : {"s", "--junit r s", "s s"}) {
    const int status = system((command(arguments) + " >/dev/full 2>err").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 2) << arguments;
    EXPECT_EQ(readFile(folder.path() + "/err"),
              "substitute-host: the output could not be written in full.\n");
  }
}

TEST_F(ProgramOutput, ARunOfOpenThatCannotBeRecordedIsReported) {
  const Result result = runAsTyped(
      "-",
      "start\nmessage \"x; runs=$(echo $TMPDIR/*/open).runs; ln -sf /nowhere/x $runs\"\nmessage "
      "\"y\"\nstop\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.output.find("> stop\n"), std::string::npos) << result.output;
  EXPECT_NE(result.errors.find("substitute-host: a run of open could not be recorded in " +
                               folder.path() + "/tmp/"),
            std::string::npos)
      << result.errors;
}

TEST_F(ProgramOutput, ErrorsOfTheShellAreReportedAsSuch) {
  const Result result = run("-",
                            "start\nmessage \"'\"\nmessage (;no-such-program)\n"
                            "message (;ls no-such-file)\nstop\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(
      result.output.find(
          "> message \"'\"\n  The shell complains: Syntax error: Unterminated quoted string.\n"),
      std::string::npos)
      << result.output;
  EXPECT_NE(result.output.find("  The shell complains: no-such-program: not found.\n"),
            std::string::npos)
      << result.output;
  // The errors of a program other than the shell are not reported as the shell's.
  EXPECT_EQ(result.errors.rfind("ls: ", 0), 0U) << result.errors;
}

TEST_F(ProgramOutput, TheSystemsOwnOpenReportsItsErrorsItself) {
  const Result result = run("--system-open -", "start\nmessage \"'\"\n");
  EXPECT_NE(result.errors.find("Unterminated quoted string"), std::string::npos) << result.errors;
}
