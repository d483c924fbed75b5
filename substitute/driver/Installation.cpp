#include "substitute/driver/Installation.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Program.h"
#include "substitute/driver/Text.h"

namespace fs = std::filesystem;

namespace substitute {

namespace {

// The folder in the user's data directory for a host without --data. Throws std::runtime_error when
// neither XDG_DATA_HOME nor HOME is set.
std::string dataFolder() {
  std::string folder = userFolder("XDG_DATA_HOME", ".local/share");
  if (!folder.empty()) return folder;
  throw std::runtime_error(
      "there is no HOME to keep the host's data in; name a folder with --data, or take a "
      "temporary one with --fresh");
}

}  // namespace

Settings settingsIn(const std::string& directory) {
  Settings settings;
  settings.executable = directory + "/Autodesk/webdeploy/production/Fusion";
  settings.entitlement = profile().entitlement;
  return settings;
}

Installation::Installation(const CommandLine& values, bool forScenario)
    : values_(values), forScenario_(forScenario) {
  if (values.executable) {
    executable_ = *values.executable;
    return;
  }
  if (!values.data.empty()) {
    folder_ = values.data;
  } else {
    folder_ = forScenario || values.fresh ? temporary_.emplace().path() : dataFolder();
  }
  executable_ = settingsIn(folder_).executable;
}

Settings Installation::settings() const {
  Settings settings = settingsIn(folder_);
  settings.executable = executable_;
  settings.offline = values_.offline;
  settings.language = values_.language;
  settings.entitlement = values_.entitlement;
  return settings;
}

void Installation::addFolder(const Host& host) {
  if (values_.executable) return;
  const std::string folder = folder_ + "/" + profile().folder;
  std::error_code error;
  if (!values_.noAddinFolder) fs::create_directories(folder, error);
  if (error) {
    throw UsageError("the folder " + folder + " cannot be made: " + error.message(), "--data");
  }
  if (!temporary_) lock_.emplace(folder_);
  if (values_.noAddinFolder || profile().file == nullptr) return;
  if (fs::path(profile().file(host)).parent_path() != folder) {
    std::cerr << "The add-in will not find its folder in " << printable(folder_) << ": "
              << profile().whyNotFound << ".\n";
  }
}

std::string Installation::description(const Host& host) const {
  const std::string file = profile().file == nullptr ? "" : profile().file(host);
  std::error_code unreachable;
  if (values_.executable) {
    if (file.empty()) return "";
    const fs::path folder = fs::path(file).parent_path();
    return "The add-in will look in " + printable(folder.string()) + ", which is " +
           (fs::is_directory(folder, unreachable) ? "there." : "not there.");
  }
  const bool isShared = lock_ && !lock_->isHeld() && fs::exists(folder_, unreachable);
  if (forScenario_) return isShared ? "Another host is using " + printable(folder_) + "." : "";
  const bool isKnown = values_.addin == besideProgram(profile().library);
  const bool hasSummary = !file.empty() && (isKnown || fs::exists(file, unreachable));
  return "The host's data is in " + printable(folder_) +
         (hasSummary ? "; " + profile().summary(host) : "") +
         (isShared ? ". Another host is using it." : ".");
}

}  // namespace substitute
