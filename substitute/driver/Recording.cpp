#include "substitute/driver/Recording.h"

#include <algorithm>
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
  } catch (const ScenarioError&) {
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
  const Json state = runner_.state();
  const std::string language = std::to_string(state["language"].get<int>());
  add({"language " + language, "language", {language}});
  if (state["entitlement"].is_null()) {
    add({"entitlement", "entitlement", {}});
  } else {
    const std::string entitlement = state["entitlement"];
    add({"entitlement " + entitlement, "entitlement", {entitlement}});
  }
  const std::string status = state["offline"] == true ? "offline" : "online";
  add({status, status, {}});
  if (profile().restoration != nullptr) {
    const Restoration restoration = profile().restoration(runner.host());
    if (restoration.omission.empty()) {
      addLine(restoration.command);
    } else {
      addOmission(restoration.omission);
    }
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
  out << "# What came of it" << (profile().note == nullptr ? "" : "; ")
      << (profile().note == nullptr ? "" : profile().note) << ".\n";
  const std::vector<ProfileKey>& own = profile().keys;
  const Json state = runner_.state();
  for (const auto& entry : state.items()) {
    const std::string& name = entry.key();
    const Json& value = entry.value();
    const auto key = std::find_if(own.begin(), own.end(),
                                  [&](const ProfileKey& one) { return one.name == name; });
    const std::vector<std::string> expectations =
        key == own.end() ? std::vector{" " + line(value)} : key->expectations(value);
    for (const std::string& one : expectations) out << "expect /" << name << one << '\n';
  }
}

void Recording::add(const Command& command) {
  if (const auto line = lineOf(command)) {
    addLine(*line);
  } else {
    addOmission(command.line);
  }
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
