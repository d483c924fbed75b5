// Tells how much of the add-in's sources has been reached, from what llvm-cov exports, and holds
// the branches that have not against the list of those that cannot be.
//
//   coverage-report EXPORT LIST SOURCES
//
// EXPORT is the JSON of `llvm-cov export`, LIST the list, SOURCES the project's folder. Exit status
// 1 when a line is not reached, a branch is neither reached nor listed, a source file is neither in
// EXPORT nor listed, or one of these is listed without need.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Json = nlohmann::json;

// One outcome of a condition, as the list tells it: "addin/EntryPoints.cpp: ui: false". Or a file's
// name alone.
using Branch = std::string;

struct Listed {
  std::string reason;
  bool needed = false;
};

std::ifstream open(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  return file;
}

std::vector<std::string> linesOf(const std::string& path) {
  std::ifstream file = open(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// A branch a line and its reason, indented, on the next; # starts a comment.
std::map<Branch, Listed> readList(const std::string& path) {
  std::map<Branch, Listed> list;
  Branch branch;
  for (const std::string& line : linesOf(path)) {
    if (line.empty() || line[0] == '#') continue;
    if (line[0] != ' ') {
      branch = line;
      list[branch];
    } else if (!branch.empty()) {
      list[branch].reason += line.substr(line.find_first_not_of(' '));
    }
  }
  for (const auto& [name, entry] : list) {
    if (entry.reason.empty()) throw std::runtime_error("no reason is given for: " + name);
  }
  return list;
}

// The source text of a region, in one line.
std::string textOf(const std::vector<std::string>& lines, const Json& region) {
  const std::size_t firstLine = region[0];
  const std::size_t firstColumn = region[1];
  const std::size_t lastLine = region[2];
  const std::size_t endColumn = region[3];
  std::string text;
  for (std::size_t i = firstLine; i <= lastLine; ++i) {
    const std::string& line = lines.at(i - 1);
    const std::size_t begin =
        i == firstLine ? firstColumn - 1 : std::min(line.find_first_not_of(' '), line.size());
    const std::size_t end = i == lastLine ? endColumn - 1 : line.size();
    text += (text.empty() ? "" : " ") + line.substr(begin, end - begin);
  }
  return text;
}

// The lines of a file that stand in a region which was never run. Each segment gives the count that
// holds from its place to the next one's.
std::set<std::size_t> unreachedLines(const Json& file, const std::vector<std::string>& lines) {
  std::set<std::size_t> unreached;
  const Json& segments = file["segments"];
  for (std::size_t i = 0; i + 1 < segments.size(); ++i) {
    const bool counted = segments[i][3];
    if (!counted || segments[i][2] != 0) continue;
    const std::size_t first = segments[i][0];
    const std::size_t last = segments[i + 1][0];
    for (std::size_t number = first; number <= last; ++number) {
      const std::string& line = lines.at(number - 1);
      std::size_t begin = 0;
      std::size_t end = line.size();
      if (number == first) begin = segments[i][1].get<std::size_t>() - 1;
      if (number == last) end = segments[i + 1][1].get<std::size_t>() - 1;
      // Blanks and brackets are no code.
      if (line.substr(begin, end - begin).find_first_not_of(" {}") != std::string::npos) {
        unreached.insert(number);
      }
    }
  }
  return unreached;
}

// The source files of the add-in, by their names below the project's folder `sources`.
std::set<std::string> sourceFiles(const std::string& sources) {
  namespace fs = std::filesystem;
  std::set<std::string> files;
  for (const char* const folder : {"host", "addin", "palette", "firstrun"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(sources) / folder)) {
      const std::string extension = entry.path().extension();
      if (extension != ".cpp" && extension != ".h") continue;
      files.insert(entry.path().lexically_relative(sources));
    }
  }
  return files;
}

std::string share(const Json& summary) {
  std::ostringstream text;
  text << std::setw(5) << summary["covered"] << " of " << std::setw(4) << summary["count"];
  return text.str();
}

int report(const std::string& exported, const std::string& listFile, const std::string& sources) {
  const Json data = Json::parse(open(exported))["data"][0];
  std::map<Branch, Listed> list = readList(listFile);
  std::vector<std::string> faults;
  std::set<std::string> untold = sourceFiles(sources);

  std::cout << std::left << std::setw(34) << "File" << std::right << std::setw(14) << "Lines"
            << std::setw(16) << "Branches" << '\n';
  for (const Json& file : data["files"]) {
    const std::string path = file["filename"];
    if (path.rfind(sources + "/", 0) != 0) continue;
    const std::string name = path.substr(sources.size() + 1);
    untold.erase(name);
    const std::vector<std::string> lines = linesOf(path);
    const Json& summary = file["summary"];
    std::cout << std::left << std::setw(34) << name << std::right << std::setw(14)
              << share(summary["lines"]) << std::setw(16) << share(summary["branches"]) << '\n';

    for (const std::size_t number : unreachedLines(file, lines)) {
      faults.push_back(name + ":" + std::to_string(number) +
                       ": not reached: " + lines.at(number - 1));
    }
    // By line, column and outcome: a template's condition is told once for each type, and equal
    // conditions at different places are different ones.
    std::map<std::tuple<std::size_t, std::size_t, Branch>, std::uint64_t> counts;
    for (const Json& branch : file["branches"]) {
      const std::string condition = name + ": " + textOf(lines, branch) + ": ";
      for (const std::size_t outcome : {std::size_t{4}, std::size_t{5}}) {
        counts[{branch[0], branch[1], condition + (outcome == 4 ? "true" : "false")}] +=
            branch[outcome].get<std::uint64_t>();
      }
    }
    for (const auto& [place, count] : counts) {
      if (count != 0) continue;
      const auto& [line, column, branch] = place;
      const auto listed = list.find(branch);
      if (listed == list.end()) {
        faults.push_back("line " + std::to_string(line) + ", column " + std::to_string(column) +
                         ": never so, and not in the list: " + branch);
      } else {
        listed->second.needed = true;
      }
    }
  }
  for (const std::string& name : untold) {
    const auto listed = list.find(name);
    if (listed == list.end()) {
      faults.push_back("nothing is told of this file, and it is not in the list: " + name);
    } else {
      listed->second.needed = true;
    }
  }
  const Json& totals = data["totals"];
  std::cout << std::left << std::setw(34) << "All" << std::right << std::setw(14)
            << share(totals["lines"]) << std::setw(16) << share(totals["branches"]) << '\n';

  std::cout << "\nNever so, and why:\n";
  for (const auto& [branch, entry] : list) {
    if (entry.needed) {
      std::cout << "  " << branch << "\n    " << entry.reason << '\n';
    } else {
      faults.push_back("in the list without need: " + branch);
    }
  }
  for (const std::string& fault : faults) std::cout << fault << '\n';
  return faults.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 4) throw std::runtime_error("coverage-report EXPORT LIST SOURCES");
    return report(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::cerr << "coverage-report: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
