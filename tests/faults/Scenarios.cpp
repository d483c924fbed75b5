#include "tests/faults/Scenarios.h"

#include <cstddef>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "substitute/api/Operation.h"

namespace faults {

namespace {

using model::Json;

const std::string link = "message \"https://learning.velorin.example/sketch.asp\"";

std::string counted(const std::string& count) {
  return "16.11.2026\n" + count;
}

// Random numbers that are the same with every standard library.
class Random {
 public:
  explicit Random(std::uint64_t seed) : bits_(seed) {}

  // One of 0 to `count` - 1.
  std::size_t below(std::size_t count) { return bits_() % count; }
  bool percent(std::size_t share) { return below(100) < share; }

  template <class T>
  const T& of(const std::vector<T>& all) {
    return all[below(all.size())];
  }

 private:
  std::mt19937_64 bits_;
};

// Every call that succeeds in `one`, as the model sees it, in the words that `fail` takes: the
// operation and which call of it.
std::vector<std::string> callsIn(const Case& one, const Tools& tools) {
  std::vector<std::string> calls;
  std::map<std::string, int> count;
  for (const Json& entry : predict(one, tools, "/host").trace) {
    if (!entry.contains("op")) continue;
    const std::string operation = entry["op"];
    const int nth = ++count[operation];
    if (!entry.contains("fault")) calls.push_back(operation + " " + std::to_string(nth));
  }
  return calls;
}

NamedCase withFault(NamedCase named, const std::string& words) {
  named.name += ", " + words;
  named.one.scenario.insert(named.one.scenario.begin(), "fail " + words);
  return named;
}

std::string randomMessage(Random& random) {
  static const std::vector<std::string> messages = {
      "message \"https://learning.velorin.example/sketch.asp\"",
      "message 'https://learning.velorin.example/body.asp second  word'",
      "message (two words)",
      "message \"příklad/žluťoučký kůň\"",
      "message xx",
      "message x",
      "message č",
      "message \" \"",
      "message",
      "message ",
      "message-null",
  };
  return random.of(messages);
}

std::string randomObject(Random& random, bool planted) {
  static const std::vector<std::string> known = {
      "palette teachPalete",
      "palette other",
      "definition openEshop",
      "definition runTeachPalette",
      "control openEshop",
      "control runTeachPalette",
      "control HelpGroupCommand",
      "plain-control openEshop",
      "plain-control runTeachPalette",
      "plain-control HelpGroupCommand",
  };
  if (!planted && random.percent(15)) return "toolbar QATRight";
  return random.of(known);
}

std::string randomFault(Random& random) {
  std::string words = random.of(substitute::operationNames());
  if (random.percent(50)) words += " " + std::to_string(1 + random.below(4));
  if (random.percent(60)) words += random.percent(50) ? " throw" : " null";
  return words;
}

std::string randomCommand(Random& random) {
  switch (random.below(20)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return "start";
    case 4:
    case 5:
      return "stop";
    case 6:
      return "unload";
    case 7:
    case 8:
      return random.percent(85) ? "click" : "click openEshop";
    case 9:
    case 10:
      return randomMessage(random);
    case 11:
    case 12:
      return "online";
    case 13:
      return "offline";
    case 14:
      return random.of<std::string>({"hide", "show", "close", "hide teachPalete", "show other",
                                     "dock teachPalete 3", "dock teachPalete 0"});
    case 15:
      return random.percent(50)
                 ? "language " + random.of<std::string>({"0", "1", "2", "3", "-2", "2147483647"})
                 : random.of<std::string>({"entitlement", "entitlement ", "entitlement A B&c=d#e",
                                           "entitlement žluťoučký"});
    case 16:
      return "plant " + randomObject(random, true);
    case 17:
      return "remove " + randomObject(random, false);
    default:
      return "fail " + randomFault(random);
  }
}

std::optional<std::string> randomInfoFile(Random& random) {
  if (random.percent(30)) return {};
  if (random.percent(15)) {
    return random.of<std::string>({"", "\n", "\n\n", "1", "1\n", "16.11.2026", "16.11.2026\n"});
  }
  static const std::vector<std::string> counts = {"0",
                                                  "1",
                                                  "2",
                                                  "3",
                                                  "4",
                                                  "5",
                                                  "-1",
                                                  "-5",
                                                  "2147483646",
                                                  "2147483647",
                                                  "2147483648",
                                                  "-2147483648",
                                                  "-2147483649",
                                                  "99999999999",
                                                  "99999999999999999999999",
                                                  "abc",
                                                  "",
                                                  " 7x",
                                                  "\t3",
                                                  "\v\f\r3",
                                                  "+2",
                                                  "-",
                                                  "+-3",
                                                  "0x10",
                                                  "007",
                                                  "3.9",
                                                  "3\r"};
  return counted(random.of(counts)) +
         random.of<std::string>({"", "\n", "\n\n", "\nnotes", "\nnotes\r\n\nmore\n"});
}

model::Disk randomDisk(Random& random, bool withInfoFile) {
  if (!random.percent(20)) return model::Disk::open;
  while (true) {
    const model::Disk disk = random.of(diskWords()).disk;
    if (model::possible(disk, withInfoFile)) return disk;
  }
}

}  // namespace

const std::vector<NamedCase>& scenarios() {
  static const std::vector<NamedCase> all = {
      {"first start", {{"start", link, "close", "click", "stop"}, {}}},
      {"fourth start", {{"start", "close", "online", link, "click", "stop"}, counted("3\n")}},
      {"fifth start", {{"start", "online", "click", link, "click", "stop"}, counted("4\n")}},
      {"another info file",
       {{"info-lines [\"1.1.2026\", \"3\"]", "start", "dock teachPalete 3", "hide teachPalete",
         "online", "stop"},
        {}}},
      {"negative count", {{"start", "online", "stop"}, counted("-1")}},
      {"start offline", {{"offline", "start", "click", "online", link, "stop"}, {}}},
      {"going online", {{"offline", "start", "online", link, "click", "stop"}, counted("2\n")}},
      {"another language", {{"language 3", "entitlement", "start", "click", "stop"}, counted("1")}},
      {"existing palette",
       {{"plant palette teachPalete", "hide", "start", "online", link, "click", "stop"}, {}}},
      {"planted e-shop",
       {{"plant definition openEshop", "plant control openEshop", "start", "click openEshop",
         "stop"},
        counted("9\n")}},
      {"plain controls",
       {{"plant plain-control openEshop", "start", "remove control runTeachPalette",
         "plant plain-control runTeachPalette", "stop"},
        counted("9\n")}},
      {"leftovers of an earlier load",
       {{"start", "unload", "start", "click", link, "stop"}, counted("3\n")}},
      {"palette replaced",
       {{"start", "remove palette teachPalete", "plant palette teachPalete", "click", "online",
         "stop"},
        {}}},
      {"info file that cannot be read",
       {{"start", "online", "stop"}, counted("3\n"), model::Disk::unreadableFile}},
      {"info file that cannot be written",
       {{"start", "unload", "start"}, counted("3\n"), model::Disk::readOnlyFile}},
      {"no folder", {{"start", "unload", "start"}, {}, model::Disk::noFolder}},
      {"folder that cannot be written",
       {{"offline", "start", "unload", "start"}, {}, model::Disk::readOnlyFolder}},
      {"no toolbar", {{"remove toolbar QATRight", "start", "stop"}, {}}},
      {"toolbar goes before stop", {{"start", "remove toolbar QATRight", "stop"}, {}}},
      {"three starts",
       {{"start", "stop", "start", "message", "message-null", "stop", "start", "stop"},
        counted("2\n")}},
  };
  return all;
}

std::vector<NamedCase> singleFaults(const NamedCase& scenario, const Tools& tools) {
  std::vector<NamedCase> cases;
  for (const std::string& call : callsIn(scenario.one, tools)) {
    for (const char* const how : {" null", " throw"}) {
      cases.push_back(withFault(scenario, call + how));
    }
  }
  return cases;
}

std::set<std::string> unreachedOperations(const Tools& tools) {
  std::set<std::string> unreached(substitute::operationNames().begin(),
                                  substitute::operationNames().end());
  for (const NamedCase& scenario : scenarios()) {
    for (const std::string& call : callsIn(scenario.one, tools)) {
      unreached.erase(call.substr(0, call.find(' ')));
    }
  }
  return unreached;
}

NamedCase pairOfFaults(std::uint64_t seed, const Tools& tools) {
  Random random(seed);
  const NamedCase& scenario = random.of(scenarios());
  const auto withOneOf = [&](const NamedCase& named, const std::vector<std::string>& calls) {
    const std::string call = random.of(calls);
    return withFault(named, call + (random.percent(50) ? " null" : " throw"));
  };
  while (true) {
    const NamedCase first = withOneOf(scenario, callsIn(scenario.one, tools));
    const std::vector<std::string> calls = callsIn(first.one, tools);
    // A first call that ends everything leaves no second one.
    if (!calls.empty()) return withOneOf(first, calls);
  }
}

NamedCase randomScenario(std::uint64_t seed) {
  Random random(seed);
  NamedCase named{"seed " + std::to_string(seed), {}};
  named.one.infoFile = randomInfoFile(random);
  named.one.disk = randomDisk(random, named.one.infoFile.has_value());
  const std::size_t length = 1 + random.below(14);
  for (std::size_t i = 0; i < length; ++i) named.one.scenario.push_back(randomCommand(random));
  return named;
}

}  // namespace faults
