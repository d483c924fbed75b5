#include "tests/AddInFixture.h"

#include <grp.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "substitute/driver/Calls.h"
#include "tests/System.h"

namespace fs = std::filesystem;
using substitute::Json;

std::string addinFile() {
  const char* const other = std::getenv("VELORIN_ADDIN");
  return other != nullptr ? other : VELORIN_BUILT_ADDIN;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string stateOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string status;
  std::getline(file, status);
  const auto name = status.rfind(") ");
  return name == std::string::npos ? "" : status.substr(name + 2, 1);
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

void becomeAnyUser() {
  const unsigned nobody = 65534;
  if (geteuid() != 0) return;
  if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) std::abort();
}

AddInFixture::AddInFixture() {
  const std::string addinFolder = substitute::addinFolderIn(folder.path());
  fs::create_directories(addinFolder);
  infoFile = addinFolder + "/Velorin_Info.txt";
  substitute::Settings settings = substitute::settingsIn(folder.path());
  settings.entitlement = "TEXT";
  install(std::move(settings));
}

AddInFixture::~AddInFixture() {
  unload();
  const substitute::ResourceCounts& counts = substitute::resourceCounts();
  EXPECT_EQ(counts.references, 0) << "references to host objects are left behind";
  EXPECT_EQ(counts.strings, 0) << "host strings are left behind";
  EXPECT_EQ(counts.invalidReleases, 0) << "references were released that were not held";
  EXPECT_EQ(counts.invalidDeallocations, 0) << "strings were freed that were not held";
  uninstall();
  EXPECT_EQ(counts.objects, 0) << "host objects outlived their host";
}

void AddInFixture::install(substitute::Settings settings) {
  uninstall();
  host = std::make_unique<substitute::Host>(std::move(settings));
  recorder = std::make_unique<substitute::OpenRecorder>(*host);
  monitor = std::make_unique<substitute::HostMonitor>(*host);
  subscription_ =
      host->interceptor().trace.subscribe([this](const Json& entry) { trace_.push_back(entry); });
}

void AddInFixture::uninstall() {
  monitor.reset();
  recorder.reset();
  host.reset();
}

void AddInFixture::recordNothing() {
  recorder.reset();
  subscription_.reset();
}

void AddInFixture::load() {
  if (!addin) addin = std::make_unique<substitute::AddIn>(addinFile());
}

void AddInFixture::unload() {
  const bool stays = addin && addin->unload().isLoaded;
  addin.reset();
  EXPECT_FALSE(stays) << "the library stays in the process";
}

std::optional<bool> AddInFixture::start() {
  load();
  return addin->run(*host);
}

std::optional<bool> AddInFixture::startAfter(int starts) {
  writeFile(infoFile, "16.11.2026\n" + std::to_string(starts) + "\n");
  return start();
}

std::optional<bool> AddInFixture::stop() {
  return addin->stop(*host);
}

AddInFixture::Calls AddInFixture::calls() {
  Calls lines;
  for (const Json& entry : trace_) lines.push_back(callLine(entry, substitute::CallForm::full));
  trace_.clear();
  return lines;
}

void AddInFixture::expectFatal(const std::function<void()>& call) {
  EXPECT_EXIT(call(), testing::KilledBySignal(SIGABRT), emptyHandleAssertion);
}

void AddInFixture::fail(const std::string& operation) {
  const auto found = substitute::operationNamed(operation);
  if (!found) throw std::invalid_argument(operation + " is not an operation");
  host->interceptor().faults.add(*found, 1, substitute::Failure::null);
}

Json AddInFixture::learningPalette() {
  for (const Json& entry : Json(state()["palettes"])) {
    if (entry["id"] == "teachPalete") return entry;
  }
  return {};
}

void* AddInFixture::symbol(const std::string& name) {
  load();
  void* const address = addin->symbol(name.c_str());
  if (address == nullptr) throw std::runtime_error(name + " is not exported");
  return address;
}
