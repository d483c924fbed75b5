#include "substitute/desktop/Recording.h"

#include <optional>
#include <ostream>

#include "substitute/driver/Profile.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// The line that a reader of scenarios parses as `command`; empty when there is none.
std::optional<std::string> lineOf(const Command& command) {
  std::string line = command.line;
  if (line.find('\n') != std::string::npos) return {};
  if (!line.empty() && line.back() == '\r') line += '\r';  // the reader removes the last one
  try {
    const Command read = ScenarioReader("").read(line);
    if (read.name != command.name || read.arguments != command.arguments) return {};
  } catch (const UsageError&) {
    return {};
  }
  return line;
}

// A word, quoted for the shell where needed.
std::string forShell(const std::string& word) {
  const char* const plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_=./,:+@%";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  std::string result = "'";
  for (const char byte : word) result += byte == '\'' ? "'\\''" : std::string(1, byte);
  return result + "'";
}

}  // namespace

Recording::Recording(ScenarioRunner& runner) : runner_(runner) {
  const auto addSetting = [this](const std::string& name, const Arguments& arguments) {
    add({arguments.empty() ? name : name + " " + arguments[0], name, arguments});
  };
  const Json state = runner_.state();
  const Json& entitlement = state["entitlement"];
  addSetting("language", {std::to_string(state["language"].get<int>())});
  addSetting("entitlement", entitlement.is_null() ? Arguments() : Arguments{entitlement});
  addSetting(state["offline"] == true ? "offline" : "online", {});
  if (profile().restoration != nullptr) {
    const std::string line = profile().restoration(runner.host());
    if (!line.empty()) addLine(line);
    if (line.empty()) addOmission("the file " + profile().file(runner.host()));
  }
  playing_ = runner.playing.subscribe([this](const Command& command) { add(command); });
}

void Recording::keepIn(const std::string& path) {
  kept_.open(path);
  write(kept_, false);
  kept_.flush();
}

void Recording::write(std::ostream& out, bool withExpectations) const {
  out << "# Done by hand in the substitute host.\n";
  if (!options_.empty()) {
    std::string words;
    for (const std::string& option : options_) words += " " + forShell(option);
    out << "# Play it with these options:" << printable(words) << '\n';
  }
  for (const std::string& one : lines_) out << one << '\n';
  if (!withExpectations) return;
  const std::string note = profile().note == nullptr ? "" : std::string("; ") + profile().note;
  out << "# What came of it" << note << ".\n";
  const Json state = runner_.state();
  for (const auto& entry : state.items()) {
    std::vector<std::string> expectations = {" " + line(entry.value())};
    for (const ProfileKey& key : profile().keys) {
      if (key.name == entry.key()) expectations = key.expectations(entry.value());
    }
    for (const std::string& one : expectations) out << "expect /" << entry.key() << one << '\n';
  }
}

void Recording::add(const Command& command) {
  const std::optional<std::string> line = lineOf(command);
  if (line) addLine(*line);
  if (!line) addOmission(command.line);
}

void Recording::addLine(const std::string& line) {
  lines_.push_back(line);
  if (kept_.is_open()) kept_ << line << std::endl;
}

void Recording::addOmission(const std::string& what) {
  addLine("# Left out, since no line can hold it: " + printable(what));
  ++omissions_;
}

}  // namespace substitute
