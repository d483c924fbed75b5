#include "substitute/driver/Velorin.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

const std::string folder = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin";

// Empty when there is no file that can be read.
std::vector<std::string> linesOf(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::string content(const Host& host) {
  constexpr std::size_t longest = 80;
  std::vector<std::string> lines = linesOf(infoFileOf(host));
  if (lines.empty()) return "The info file reads: nothing";
  lines.resize(2);
  return "The info file reads: " + lines[0].substr(0, longest) + " / " +
         lines[1].substr(0, longest);
}

std::string summary(const Host& host) {
  const std::string count = startCountIn(infoFileOf(host));
  return "starts so far: " + (count.empty() ? "none" : printable(count));
}

// Throws UsageError.
std::vector<std::string> parseInfoLines(const std::string& string) {
  const Json lines = Json::parse(string, nullptr, false);
  const auto isLine = [](const Json& value) {
    return value.is_string() && value.get<std::string>().find('\n') == std::string::npos;
  };
  if (!lines.is_array() || !std::all_of(lines.begin(), lines.end(), isLine)) {
    throw UsageError("'" + string + R"(' is not a JSON array of lines, such as ["1.1.2026", "3"])");
  }
  return lines;
}

void writeInfoFile(ScenarioRunner& runner, const Arguments& arguments) {
  const std::string path = infoFileOf(runner.host());
  std::ofstream file(path, std::ios::binary);
  for (const std::string& one : parseInfoLines(arguments[0])) file << one << '\n';
  if (!file.flush()) runner.reporter().report(path + " cannot be written.");
}

void removeInfoFile(ScenarioRunner& runner, const Arguments& /*arguments*/) {
  const std::string file = infoFileOf(runner.host());
  std::error_code error;
  const bool removed = std::filesystem::remove(file, error);
  if (error) return runner.reporter().report(file + " cannot be removed: " + error.message() + ".");
  if (!removed) runner.reporter().report("There is no info file.");
}

std::string restoration(const Host& host) {
  const std::string path = infoFileOf(host);
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return "reset";
  const Json lines = linesOf(path);
  const std::string json = line(lines);
  // What is not UTF-8 is replaced in `json`.
  const bool isWhole = std::ifstream(path) && Json::parse(json) == lines;
  return isWhole ? "info-lines " + json : "";
}

// Without the first line, the date of the first start.
std::vector<std::string> expectationsOfLines(const Json& lines) {
  std::vector<std::string> expectations;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    expectations.push_back("/" + std::to_string(i) + " " + line(lines[i]));
  }
  return expectations;
}

Profile velorin() {
  Profile known;
  known.library = VELORIN_LIBRARY_NAME;
  known.folder = folder;
  known.button = learningButton;
  known.palette = learningPalette;
  known.entitlement = "VELORIN-EXAMPLE 2026";
  known.commands = {
      {"info-lines", "JSON", "write the info file: a JSON array of its lines", writeInfoFile,
       [](const Arguments& arguments) { parseInfoLines(arguments[0]); }},
      {"reset", "", "remove the info file", removeInfoFile},
  };
  known.keys = {
      {"infoFile", [](const Host& host) { return Json(infoFileOf(host)); },
       [](const Json& /*path*/) { return std::vector<std::string>(); }},
      {"infoLines", [](const Host& host) { return Json(linesOf(infoFileOf(host))); },
       expectationsOfLines},
  };
  known.file = infoFileOf;
  known.content = content;
  known.summary = summary;
  // The add-in has a buffer of fixed size, and cuts the path at the first "Autodesk".
  known.whyNotFound = "the path is too long, or holds the word Autodesk";
  known.note = "the first line of the info file is a date";
  known.restoration = restoration;
  return known;
}

}  // namespace

const Profile& profile() {
  static const Profile known = velorin();
  return known;
}

Settings settingsIn(const std::string& directory) {
  Settings settings;
  settings.executable = directory + "/Autodesk/webdeploy/production/Fusion";
  settings.entitlement = profile().entitlement;
  return settings;
}

std::string addinFolderIn(const std::string& directory) {
  return directory + "/" + folder;
}

std::string infoFileOf(const Host& host) {
  std::string path = host.settings().executable;
  if (path.size() > 511) path.clear();  // more than the add-in has room for
  const auto separator = path.find_last_of("/\\");
  path.erase(separator == std::string::npos ? 0 : separator);
  const auto anchor = path.find("Autodesk");
  if (anchor != std::string::npos) path.erase(anchor);
  return path + folder + "/Velorin_Info.txt";
}

std::string startCountIn(const std::string& infoFile) {
  const std::vector<std::string> lines = linesOf(infoFile);
  std::string count = lines.size() > 1 ? lines[1] : "";
  if (!count.empty() && count.back() == '\r') count.pop_back();
  return count.substr(0, 12);
}

}  // namespace substitute
