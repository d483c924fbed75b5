// A recording, written as a scenario and played again by substitute-host.
#include "substitute/desktop/Recording.h"

#include <sstream>

#include "substitute/driver/OpenRecorder.h"
#include "tests/HostProgram.h"

namespace {

using namespace substitute;

class RecordedScenario : public HostProgram {
 protected:
  RecordedScenario() {
    std::filesystem::create_directories(addinFolderIn(folder.path() + "/here"));
    subscription_ =
        host.interceptor().trace.subscribe([this](const Json& entry) { trace_.push_back(entry); });
  }

  void play(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) runner.play(parseCommand(line));
  }

  // Writes the scenario to the file "again.txt" and returns it.
  std::string save(const Recording& recording, bool withExpectations) {
    std::ostringstream scenario;
    recording.write(scenario, withExpectations);
    writeFile(folder.path() + "/again.txt", scenario.str());
    return scenario.str();
  }

  // Plays that file in another host, whose settings are different at the start.
  Result playAgain() {
    return run("--language 7 --entitlement other --trace again.trace again.txt");
  }

  void expectSameTrace() {
    std::string all;
    for (const Json& entry : trace_) all += line(entry) + '\n';
    EXPECT_EQ(readFile(folder.path() + "/again.trace"), all);
  }

  Host host{settingsIn(folder.path() + "/here")};
  OpenRecorder recorder{host};
  std::ostringstream report;
  ScenarioRunner runner{host, addinFile(), report};

 private:
  std::vector<Json> trace_;
  Signal<Json>::Subscription subscription_;
};

TEST_F(RecordedScenario, PlaysAgainWithTheSameTrace) {
  const Recording recording(runner);
  play({"plant palette teachPalete", "fail Palettes.add 2 throw", "start", "message \"a  b\"",
        "message-to teachPalete ", "message-null", "dock teachPalete 3", "hide teachPalete",
        "entitlement", "offline", "click", "language -3", "online", "stop", "start"});
  save(recording, true);
  EXPECT_EQ(recording.omissions(), 0U);
  play({"unload"});
  const Result again = playAgain();
  EXPECT_EQ(again.errors, "");
  EXPECT_EQ(again.status, 0) << again.output;
  EXPECT_NE(again.output.find(" expectations, 0 failed\n"), std::string::npos) << again.output;
  expectSameTrace();
}

TEST_F(RecordedScenario, BeginsWithWhatTheHostWas) {
  host.setLanguage(5);
  host.setEntitlement(" two  words ");
  host.setOffline(true);
  writeFile(infoFileOf(host), "1.1.2026\n3\r\n\n\"more\"");
  const Recording recording(runner);
  play({"start", "online"});
  const std::string scenario = save(recording, true);
  EXPECT_EQ(scenario.substr(0, scenario.find("start\n")),
            "# Done by hand in the substitute host.\n"
            "language 5\n"
            "entitlement  two  words \n"
            "offline\n"
            "info-lines [\"1.1.2026\",\"3\\r\",\"\",\"\\\"more\\\"\"]\n");
  EXPECT_NE(scenario.find("expect /infoLines/1 \"4\"\n"), std::string::npos) << scenario;
  play({"unload"});
  const Result again = playAgain();
  EXPECT_EQ(again.status, 0) << again.errors << again.output;
  expectSameTrace();
}

TEST_F(RecordedScenario, ExpectsWhatTheStateIs) {
  const Recording recording(runner);
  play({"start"});
  const std::string scenario = save(recording, true);
  for (const char* const key : {"/offline false", "/language 2", "/palettes [", "/run true",
                                "/infoLines/1 \"1\"", "/pendingFaults []"}) {
    EXPECT_NE(scenario.find(std::string("\nexpect ") + key), std::string::npos) << key;
  }
  // These differ in every run.
  EXPECT_EQ(scenario.find(folder.path()), std::string::npos) << scenario;
  EXPECT_EQ(scenario.find("/infoLines/0"), std::string::npos) << scenario;
  play({"unload"});
  EXPECT_EQ(playAgain().status, 0);

  EXPECT_EQ(save(recording, false).find("expect"), std::string::npos);
}

TEST_F(RecordedScenario, SaysWhatNoLineCanHold) {
  writeFile(infoFileOf(host), "\xff\n");
  const Recording recording(runner);
  play({"start"});
  const std::vector<std::string> texts = {"two\nlines", std::string("zero\0byte", 9), "end\r"};
  for (const std::string& data : texts) {
    runner.play({"message " + data, "message", {data}});
  }
  runner.play({"click two words", "click", {"two words"}});
  runner.play({"click  x", "click", {" x"}});  // it would be read as "x"
  EXPECT_EQ(recording.omissions(), 5U);
  const std::string scenario = save(recording, false);
  const std::vector<std::string> all = {"the file " + infoFileOf(host), "message two\\nlines",
                                        "message zero\\u0000byte", "click two words", "click  x"};
  for (const std::string& what : all) {
    EXPECT_NE(scenario.find("\n# Left out, since no line can hold it: " + what + "\n"),
              std::string::npos)
        << what << " in\n"
        << scenario;
  }
  play({"unload"});
  const Result again = playAgain();
  EXPECT_EQ(again.status, 0) << again.errors;
  EXPECT_NE(again.output.find("> message end\\r\n"), std::string::npos) << again.output;
}

TEST_F(RecordedScenario, KeepsCommentsAndExpectations) {
  const Recording recording(runner);
  play({"# Nothing runs.", "expect /run null"});
  EXPECT_NE(save(recording, false).find("\n# Nothing runs.\nexpect /run null\n"),
            std::string::npos);
}

TEST_F(RecordedScenario, NamesTheOptionsThatItNeeds) {
  Recording recording(runner);
  recording.setOptions({"--no-addin-folder", "--executable", "/it's here"});
  EXPECT_NE(
      save(recording, false)
          .find(
              "\n# Play it with these options: --no-addin-folder --executable '/it'\\''s here'\n"),
      std::string::npos);
}

}  // namespace
