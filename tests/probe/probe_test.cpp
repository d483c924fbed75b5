// The probe in the substitute host, and the file of its answers.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "probe/Answers.h"
#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Velorin.h"
#include "tests/TemporaryFolder.h"

namespace fs = std::filesystem;
using substitute::Host;
using substitute::Json;

namespace {

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> idsIn(const std::string& answers) {
  std::vector<std::string> ids;
  std::istringstream lines(answers);
  for (std::string line; std::getline(lines, line);) ids.push_back(Json::parse(line)["id"]);
  return ids;
}

// A host, and the probe in a folder of its own.
class Probe : public testing::Test {
 protected:
  Probe() {
    std::ofstream(library, std::ios::binary) << readFile(VELORIN_PROBE);
    substitute::Settings settings = substitute::settingsIn(folder.path());
    settings.entitlement = "SECRET licence";
    host = std::make_unique<Host>(std::move(settings));
    // Nothing that the add-in's calls make puts such a control there.
    host->plant(substitute::ObjectKind::plainControl, "FileSubMenuCommand");
    trace_ = host->interceptor().trace.subscribe([this](const Json& entry) {
      if (entry.contains("op")) ++calls[entry["op"]];
      if (entry.value("event", "") == "threw") thrown.push_back(entry["type"]);
    });
  }

  ~Probe() override {
    probe.reset();
    const substitute::ResourceCounts& counts = substitute::resourceCounts();
    EXPECT_EQ(counts.references, 0);
    EXPECT_EQ(counts.strings, 0);
    EXPECT_EQ(counts.invalidReleases, 0);
    EXPECT_EQ(counts.invalidDeallocations, 0);
    host.reset();
    EXPECT_EQ(counts.objects, 0);
  }

  std::optional<bool> start() {
    probe = std::make_unique<substitute::AddIn>(library);
    return probe->run(*host);
  }

  // What a user and the page of the probe do between start and stop, step by step.
  std::vector<std::function<void()>> steps() {
    return {
        [this] { host->message("VelorinProbe", "\"quoted\""); },
        [this] { host->message("VelorinProbe", "bare"); },
        [this] { host->message("VelorinProbe", ""); },
        [this] { host->click("VelorinProbe"); },
        [this] { host->setOffline(true); },
        [this] { host->setOffline(false); },
        [this] { host->click("VelorinProbe"); },
    };
  }

  // A whole life of the probe, in which every question is asked.
  void play() {
    start();
    for (const auto& step : steps()) step();
    probe->stop(*host);
    probe.reset();
  }

  void tellToThrow() { std::ofstream(folder.path() + "/VelorinProbe.throw").flush(); }
  std::string answers() const { return readFile(folder.path() + "/VelorinProbe.jsonl"); }

  // The questions that are asked without being told to throw.
  static std::vector<std::string> usualIds() {
    std::vector<std::string> ids = idsIn(readFile(VELORIN_PROBE_ANSWERS));
    ids.erase(std::remove_if(ids.begin(), ids.end(),
                             [](const std::string& id) { return id.rfind("exception.", 0) == 0; }),
              ids.end());
    return ids;
  }

  TemporaryFolder folder;
  std::string library = folder.path() + "/" + fs::path(VELORIN_PROBE).filename().string();
  std::unique_ptr<Host> host;
  std::unique_ptr<substitute::AddIn> probe;
  std::map<std::string, int> calls;  // by operation
  std::vector<std::string> thrown;

 private:
  substitute::Signal<Json>::Subscription trace_;
};

}  // namespace

// Byte for byte: they hold nothing of the user either, not even the entitlement.
TEST_F(Probe, AnswersOfTheSubstituteHost) {
  tellToThrow();
  play();
  EXPECT_EQ(answers(), readFile(VELORIN_PROBE_ANSWERS));
}

TEST_F(Probe, ThrowsOnlyWhenToldTo) {
  play();
  EXPECT_EQ(thrown, std::vector<std::string>());
  EXPECT_EQ(idsIn(answers()), usualIds());
  tellToThrow();
  play();
  EXPECT_EQ(thrown, std::vector<std::string>{"std::out_of_range"});
}

TEST_F(Probe, LeavesNothingWhenItIsUnloadedInTheMiddle) {
  const Json before = host->state();
  for (std::size_t count = 0; count <= steps().size(); ++count) {
    start();
    EXPECT_NE(host->state(), before);
    EXPECT_NE(answers(), "") << "it answers at once";
    for (std::size_t i = 0; i < count; ++i) steps()[i]();
    probe.reset();
    host->setOffline(false);
    EXPECT_EQ(host->state(), before) << "after " << count << " steps";
  }
}

TEST_F(Probe, DoesNothingBetweenStopAndTheEnd) {
  EXPECT_EQ(start(), true);
  EXPECT_EQ(probe->stop(*host), true);
  const std::string told = answers();
  const auto made = calls;
  host->setOffline(true);
  host->setOffline(false);
  EXPECT_EQ(probe->stop(*host), true);
  EXPECT_EQ(answers(), told);
  EXPECT_EQ(calls, made);
}

TEST_F(Probe, StandsEveryFailureOfTheHost) {
  const Json before = host->state();
  play();
  const std::string first = answers();
  const auto made = calls;
  const std::vector<std::string> known = usualIds();
  EXPECT_GT(made.size(), 30U);
#ifdef __APPLE__
  constexpr int mostCalls = 1;  // under emulation all of them would take minutes
#else
  constexpr int mostCalls = std::numeric_limits<int>::max();
#endif
  for (const auto& [name, count] : made) {
    const auto operation = substitute::operationNamed(name);
    ASSERT_TRUE(operation) << name;
    for (int nth = 1; nth <= std::min(count, mostCalls); ++nth) {
      for (const auto how : {substitute::Failure::null, substitute::Failure::exception}) {
        host->interceptor().faults.add(*operation, static_cast<std::uint64_t>(nth), how);
        play();
        host->setOffline(false);
        ASSERT_EQ(host->state(), before) << name << " " << nth;
        for (const std::string& id : idsIn(answers())) {
          ASSERT_NE(std::find(known.begin(), known.end(), id), known.end()) << id;
        }
      }
    }
  }
  EXPECT_EQ(thrown, std::vector<std::string>()) << "a failure of the host left the probe";
  play();
  EXPECT_EQ(answers(), first);
}

TEST_F(Probe, RefusesAFolderThatCannotBeWritten) {
  const Json before = host->state();
  fs::create_directory(folder.path() + "/VelorinProbe.jsonl");
  EXPECT_EQ(start(), false);
  EXPECT_EQ(host->state(), before);
  EXPECT_EQ(probe->stop(*host), true);
}

TEST_F(Probe, LeavesTheAddInAlone) {
  fs::create_directories(substitute::addinFolderIn(folder.path()));
  substitute::AddIn addin(VELORIN_BUILT_ADDIN);
  EXPECT_EQ(addin.run(*host), true);
  const Json before = host->state();
  play();
  EXPECT_EQ(host->state(), before);
  EXPECT_EQ(idsIn(answers()), usualIds());
  EXPECT_EQ(addin.stop(*host), true);
}

TEST(Answers, HaveLeftAProcessThatEnds) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/answers.jsonl";
  const pid_t child = fork();
  if (child == 0) {
    probe::Answers lost;
    lost.open(path);
    lost.write("first", "One?", true);
    lost.write("second", "Two?", 2);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(readFile(path), R"({"id": "first", "question": "One?", "answer": true}
{"id": "second", "question": "Two?", "answer": 2}
)");
}

TEST(Answers, AreAsciiAndGivenOnceToEachQuestion) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/answers.jsonl";
  probe::Answers answers;
  ASSERT_TRUE(answers.open(path));
  answers.write("status", "Which?", "\"\\\n\x7fč\xff");
  answers.write("status", "Which?", true);
  answers.write("stat", "Which?", false);
  EXPECT_EQ(
      readFile(path),
      R"({"id": "status", "question": "Which?", "answer": "\"\\\u000a\u007f\u00c4\u008d\u00ff"}
{"id": "stat", "question": "Which?", "answer": false}
)");
}
