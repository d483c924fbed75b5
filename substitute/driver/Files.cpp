#include "substitute/driver/Files.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "substitute/driver/Program.h"
#include "substitute/driver/Text.h"
#include "substitute/driver/UsageError.h"

namespace fs = std::filesystem;

namespace substitute {

std::string besideProgram(const std::string& name) {
  return (fs::path(programFile()).parent_path() / name).string();
}

std::string userFolder(const char* variable, const std::string& belowHome) {
  const char* const directory = std::getenv(variable);
  const char* const home = std::getenv("HOME");
  const std::string name = "/velorin-substitute-host";
  if (directory != nullptr && *directory != '\0') return directory + name;
  if (home != nullptr && *home != '\0') return std::string(home) + "/" + belowHome + name;
  return "";
}

std::vector<std::string> scenarioNames() {
  std::vector<std::string> names;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(besideProgram("scenarios"), none)) {
    if (entry.path().extension() == ".txt") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string scenarioFile(const std::string& word) {
  std::error_code unreachable;
  if (fs::is_regular_file(word, unreachable)) return word;
  std::string known = besideProgram("scenarios/" + word + ".txt");
  if (word.find('/') == std::string::npos && fs::is_regular_file(known, unreachable)) return known;
  if (fs::exists(word, unreachable) && !fs::is_directory(word, unreachable)) return word;
  throw UsageError("there is no scenario " + word + "; there are " + listed(scenarioNames()),
                   "--list-scenarios");
}

std::vector<Command> readScenario(const std::string& word) {
  const std::string file = scenarioFile(word);
  std::ifstream input(file);
  if (!input) throw std::runtime_error("the scenario " + file + " cannot be read");
  return parseScenario(input, file);
}

void checkStandardInput() {
  char none = 0;
  if (read(STDIN_FILENO, &none, 0) < 0) throw std::runtime_error("standard input cannot be read");
}

bool isSameFile(const std::string& one, const std::string& other) {
  std::error_code missing;
  if (fs::equivalent(one, other, missing)) return true;
  std::error_code error;
  const fs::path first = fs::weakly_canonical(fs::absolute(one, error), error);
  return !error && first == fs::weakly_canonical(fs::absolute(other, error), error) && !error;
}

TraceFile::TraceFile(const std::string& path) : path_(path), file_(path, std::ios::app) {
  if (!file_) throw UsageError("the trace cannot be written to " + path, "--trace");
}

void TraceFile::begin(Host& host) {
  std::error_code notAFileOfBytes;
  fs::resize_file(path_, 0, notAFileOfBytes);
  trace_ = host.interceptor().trace.subscribe(
      [this](const Json& entry) { file_ << line(entry) << std::endl; });
}

}  // namespace substitute
