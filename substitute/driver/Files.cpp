#include "substitute/driver/Files.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "substitute/driver/Program.h"
#include "substitute/driver/Velorin.h"

namespace fs = std::filesystem;

namespace substitute {

std::string besideProgram(const std::string& name) {
  return (fs::path(programFile()).parent_path() / name).string();
}

std::string userFolder() {
  const char* const data = std::getenv("XDG_DATA_HOME");
  const char* const home = std::getenv("HOME");
  if (data != nullptr && *data != '\0') return std::string(data) + "/velorin-substitute-host";
  if (home != nullptr && *home != '\0') {
    return std::string(home) + "/.local/share/velorin-substitute-host";
  }
  throw std::runtime_error(
      "there is no HOME to keep the host's data in; name a folder with --data");
}

void createAddinFolder(const std::string& data) {
  const std::string folder = addinFolderIn(data);
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) {
    throw std::runtime_error("the folder " + folder + " cannot be made: " + error.message());
  }
}

std::string scenarioFile(const std::string& word) {
  std::error_code unreachable;
  if (fs::is_regular_file(word, unreachable)) return word;
  std::string known = besideProgram("scenarios/" + word + ".txt");
  if (word.find('/') == std::string::npos && fs::is_regular_file(known, unreachable)) return known;
  if (fs::exists(word, unreachable) && !fs::is_directory(word, unreachable)) return word;
  throw std::runtime_error("there is no scenario " + word);
}

std::vector<Command> readScenario(const std::string& word) {
  if (word == "-") {
    std::vector<Command> commands = parseScenario(std::cin, "standard input");
    if (std::ferror(stdin) != 0) throw ScenarioError("standard input cannot be read");
    return commands;
  }
  const std::string file = scenarioFile(word);
  std::ifstream input(file);
  if (!input) throw ScenarioError("the scenario " + file + " cannot be read");
  return parseScenario(input, file);
}

TraceFile::TraceFile(const std::string& path) : path_(path), file_(path, std::ios::app) {
  if (!file_) throw std::runtime_error("the trace cannot be written to " + path);
}

void TraceFile::begin(Host& host) {
  std::error_code notAFileOfBytes;
  fs::resize_file(path_, 0, notAFileOfBytes);
  trace_ = host.interceptor().trace.subscribe(
      [this](const Json& entry) { file_ << line(entry) << std::endl; });
}

}  // namespace substitute
