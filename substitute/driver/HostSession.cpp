#include "substitute/driver/HostSession.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "substitute/driver/AddIn.h"
#include "substitute/driver/Calls.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Text.h"

namespace fs = std::filesystem;

namespace substitute {

HostSession::HostSession(const CommandLine& values, const std::string& scenario)
    : values_(values),
      playsScenario_(!scenario.empty()),
      folder_(chooseFolder()),
      host_(settings()),
      crashReport_(host_) {
  std::vector<std::string> files = {values.addin, values.expectedTrace, fileOfAddIn()};
  if (playsScenario_ && scenario != "-") files.push_back(scenarioFile(scenario));
  checkOutput("--trace", values.trace, files);
  if (!values.systemOpen) recorder_.emplace(host_);
  // A library that cannot be loaded is refused now: before anything is written, and even if no
  // command loads it.
  { const AddIn tried(values.addin); }
  if (!values.expectedTrace.empty()) expected_.emplace(values.expectedTrace);
  if (!values.trace.empty()) trace_.emplace(values.trace);
  addFolder();
  if (trace_) trace_->begin(host_);
  if (expected_) expected_->begin(host_);
  const std::string place = description();
  if (!place.empty()) std::cout << place << std::endl;
  runner_.emplace(host_, values.addin, std::cout);
  if (values.calls) {
    calls_ = host_.interceptor().trace.subscribe([this](const Json& entry) {
      runner_->reporter().print(indentedLine(entry, *values_.calls));
    });
  }
}

bool HostSession::conclude() {
  bool passed = true;
  if (playsScenario_ || values_.strict || expected_ || runner_->expectsAnything()) {
    passed = runner_->conclude(values_.strict, expected_ ? &*expected_ : nullptr);
  }
  if (recorder_) recorder_->checkRecorded();
  if (trace_ && !trace_->good()) {
    throw UsageError("the trace could not be written in full", "--trace");
  }
  return passed;
}

std::string HostSession::chooseFolder() {
  if (values_.executable || !values_.data.empty()) return values_.data;
  if (playsScenario_ || values_.fresh) return temporary_.emplace().path();
  std::string folder = userFolder("XDG_DATA_HOME", ".local/share");
  if (!folder.empty()) return folder;
  throw std::runtime_error(
      "there is no HOME to keep the host's data in; name a folder with --data, or take a "
      "temporary one with --fresh");
}

Settings HostSession::settings() const {
  Settings settings = settingsIn(folder_);
  if (values_.executable) settings.executable = *values_.executable;
  settings.offline = values_.offline;
  settings.language = values_.language;
  if (values_.entitlement) settings.entitlement = values_.entitlement;
  return settings;
}

std::string HostSession::fileOfAddIn() const {
  std::string file = profile().file == nullptr ? "" : profile().file(host_);
  std::error_code unreachable;
  const bool isKnown = fs::path(values_.addin).filename() == profile().library;
  return isKnown || fs::exists(file, unreachable) ? file : "";
}

void HostSession::addFolder() {
  if (values_.executable) return;
  const std::string folder = folder_ + "/" + profile().folder;
  std::error_code error;
  if (!values_.noAddinFolder) fs::create_directories(folder, error);
  if (error) {
    throw UsageError("the folder " + folder + " cannot be made: " + error.message(), "--data");
  }
  if (!temporary_) lock_.emplace(folder_);
  const fs::path file = fileOfAddIn();
  if (!values_.noAddinFolder && !file.empty() && file.parent_path() != folder) {
    std::cerr << "The add-in will not find its folder in " << printable(folder_) << ": "
              << profile().whyNotFound << ".\n";
  }
}

std::string HostSession::description() const {
  const std::string file = fileOfAddIn();
  std::error_code unreachable;
  if (values_.executable) {
    if (file.empty()) return "";
    const fs::path folder = fs::path(file).parent_path();
    return "The add-in will look in " + printable(folder.string()) + ", which is " +
           (fs::is_directory(folder, unreachable) ? "there." : "not there.");
  }
  const bool isShared = lock_ && !lock_->isHeld() && fs::exists(folder_, unreachable);
  if (playsScenario_) return isShared ? "Another host is using " + printable(folder_) + "." : "";
  return "The host's data is in " + printable(folder_) +
         (!file.empty() ? "; " + profile().summary(host_) : "") +
         (isShared ? ". Another host is using it." : ".");
}

}  // namespace substitute
