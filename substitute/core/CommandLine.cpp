#include "substitute/core/CommandLine.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace substitute {

namespace {

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

}  // namespace

void addOptions(CLI::App& parser, CommandLine& values) {
  parser.add_option("--addin", values.addin, "the library to load; the built one if left out")
      ->type_name("FILE")
      ->check(refuseEmpty);
  parser
      .add_option("--data", values.data,
                  "where the host is installed; a folder of the user's if left out")
      ->type_name("DIR")
      ->check(refuseEmpty);
  parser.add_flag("--no-addin-folder", values.noAddinFolder, "do not make the add-in's folder");
  parser.add_option("--executable", values.executable, "report PATH as the host's executable")
      ->type_name("PATH");
  parser
      .add_option("--language", values.language,
                  "the host's user language; 2, which is Czech, if left out")
      ->type_name("N");
  parser
      .add_option("--entitlement", values.entitlement,
                  "the host's entitlement text; an example if left out")
      ->type_name("TEXT");
  parser.add_flag("--offline", values.offline, "the host starts offline");
  parser
      .add_option("--trace", values.trace,
                  "write every call of the host there, a line of JSON each")
      ->type_name("FILE")
      ->check(refuseEmpty);
  parser.add_flag("--system-open", values.systemOpen,
                  "let the system's own `open` run instead of recording its arguments");
}

std::string refuseEmpty(const std::string& value) {
  return value.empty() ? "its name is empty" : "";
}

Settings settingsFor(CommandLine& values) {
  if (values.addin.empty()) values.addin = besideProgram("Velorin.so");
  if (values.data.empty()) values.data = userFolder();
  Settings settings;
  settings.executable = values.executable.value_or(executableIn(values.data));
  settings.offline = values.offline;
  settings.language = values.language;
  settings.entitlement = values.entitlement;
  settings.recordOpen = !values.systemOpen;
  return settings;
}

void installAddinFolder(const CommandLine& values, const Host& host) {
  if (values.noAddinFolder) return;
  const std::string folder = addinFolderIn(values.data);
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) {
    throw std::runtime_error("the folder " + folder + " cannot be made: " + error.message());
  }
  // The add-in cuts its host's path at the first "Autodesk".
  if (!values.executable && fs::path(host.infoFile()).parent_path() != folder) {
    std::cerr << "The add-in will not find its folder in " << values.data
              << ": the path is too long, or holds the word Autodesk.\n";
  }
}

std::string besideProgram(const std::string& name) {
  return (fs::read_symlink("/proc/self/exe").parent_path() / name).string();
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
  host.gate().listen([this](const Json& entry) { file_ << line(entry) << std::endl; });
}

}  // namespace substitute
