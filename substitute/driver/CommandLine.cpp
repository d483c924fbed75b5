#include "substitute/driver/CommandLine.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "substitute/driver/Files.h"
#include "substitute/driver/Program.h"

namespace fs = std::filesystem;

namespace substitute {

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
  parser
      .add_option("--expect-trace", values.expectedTrace,
                  "the trace must be this one; the first line that differs is told")
      ->type_name("FILE")
      ->check(refuseEmpty);
  parser.add_flag("--strict", values.strict, "what is told as suspicious at the end is a failure");
  parser
      .add_option("--timeout", values.timeout,
                  "end when a call of the add-in takes longer than SECONDS")
      ->type_name("SECONDS")
      ->check(CLI::Range(1U, 1000000U).description(""));
  parser.add_flag("--system-open", values.systemOpen,
                  "let the system's own `open` run instead of recording its arguments");
}

std::string refuseEmpty(const std::string& value) {
  return value.empty() ? "its name is empty" : "";
}

Settings settingsFor(CommandLine& values, char* const* arguments) {
  if (startsThroughLink && values.executable) {
    throw std::runtime_error(
        "--executable is refused: on this system nobody but the system says which executable runs");
  }
  if (values.addin.empty()) values.addin = besideProgram(libraryName);
  if (values.data.empty()) values.data = userFolder();
  if (startsThroughLink) values.data = fs::absolute(values.data).string();
  Settings settings = settingsIn(values.data);
  if constexpr (startsThroughLink) {
    settings.executable = restartThroughLink(settings.executable, arguments);
  }
  if (values.executable) settings.executable = *values.executable;
  settings.offline = values.offline;
  settings.language = values.language;
  settings.entitlement = values.entitlement;
  return settings;
}

void installAddinFolder(const CommandLine& values, const Host& host) {
  if (values.noAddinFolder) return;
  createAddinFolder(values.data);
  // The add-in cuts its host's path at the first "Autodesk".
  if (!values.executable &&
      fs::path(infoFileOf(host)).parent_path() != addinFolderIn(values.data)) {
    std::cerr << "The add-in will not find its folder in " << values.data
              << ": the path is too long, or holds the word Autodesk.\n";
  }
}

}  // namespace substitute
