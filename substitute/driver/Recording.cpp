#include "substitute/driver/Recording.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>

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
  addInfoFile(state["infoLines"], state["infoFile"]);
  playing_ = runner.playing.subscribe([this](const Command& command) { add(command); });
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
  out << "# What came of it; the first line of the info file is a date.\n";
  const Json state = runner_.state();
  for (const auto& [key, value] : state.items()) {
    if (key == "infoFile") continue;
    if (key != "infoLines") {
      out << "expect /" << key << ' ' << line(value) << '\n';
      continue;
    }
    for (std::size_t i = 1; i < value.size(); ++i) {
      out << "expect /" << key << '/' << i << ' ' << line(value[i]) << '\n';
    }
  }
}

void Recording::add(const Command& command) {
  if (const auto line = lineOf(command)) {
    lines_.push_back(*line);
  } else {
    addOmission(command.line);
  }
}

void Recording::addOmission(const std::string& what) {
  lines_.push_back("# Left out, since no line can hold it: " + printable(what));
  ++omissions_;
}

void Recording::addInfoFile(const Json& lines, const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return add({"reset", "reset", {}});
  const std::string json = line(lines);
  const bool isReadable = std::ifstream(path).good();
  if (!isReadable || Json::parse(json) != lines) {  // what is not UTF-8 is replaced in `json`
    return addOmission(isReadable ? "the info file " + json
                                  : "the info file, which cannot be read");
  }
  add({"info-lines " + json, "info-lines", {json}});
}

}  // namespace substitute
