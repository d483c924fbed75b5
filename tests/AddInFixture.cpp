#include "tests/AddInFixture.h"

#include <grp.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <typeinfo>

#include "tests/System.h"

namespace fs = std::filesystem;
using substitute::Json;

namespace {

std::string inWords(const Json& entry) {
  if (entry.contains("event")) {
    const std::string event = entry["event"];
    if (event == "notify") return "notify " + entry["handler"].get<std::string>();
    if (event == "threw") return "threw " + entry["type"].get<std::string>();
    if (event == "open") {
      std::string words = "open";
      for (const Json& argument : entry["args"]) words += " [" + argument.get<std::string>() + "]";
      return words;
    }
    return entry.contains("value") ? event + " " + entry["value"].dump() : event;
  }
  std::string arguments;
  for (const Json& argument : entry["args"]) {
    arguments += (arguments.empty() ? "" : ", ") + argument.dump();
  }
  std::string words = entry["op"].get<std::string>() + "(" + arguments + ")";
  const std::string on = entry.value("on", "");
  if (on.find(':') != std::string::npos) words += " on " + on;
  if (entry.contains("fault")) return words + " fails by " + entry["fault"].get<std::string>();
  const Json& result = entry["result"];
  return words + " = " + (result.is_string() ? result.get<std::string>() : result.dump());
}

}  // namespace

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
  if (!countingErrorsAllowed_) {
    EXPECT_EQ(counts.invalidReleases, before_.invalidReleases)
        << "references were released that were not held";
    EXPECT_EQ(counts.invalidDeallocations, before_.invalidDeallocations)
        << "strings were freed that were not held";
  }
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
  Calls words;
  for (const Json& entry : trace_) words.push_back(inWords(entry));
  trace_.clear();
  return words;
}

void AddInFixture::expectFatal(const std::function<void()>& call) {
  EXPECT_EXIT(call(), testing::KilledBySignal(SIGABRT), emptyHandleAssertion);
}

void AddInFixture::fail(const std::string& operation, substitute::Failure how) {
  const auto found = substitute::operationNamed(operation);
  if (!found) throw std::invalid_argument(operation + " is not an operation");
  host->interceptor().faults.add(*found, 1, how);
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

// How the C++ library's strings are spelled in the name of a function.
namespace {
#ifdef _LIBCPP_VERSION
const std::string noArguments = "v";
#else
const std::string noArguments = "B5cxx11v";  // of a function that returns a string
#endif
const std::string text = typeid(std::string).name();
const std::string wideText = typeid(std::wstring).name();
}  // namespace

std::string AddInFixture::GetExecutableDirectory() {
  return function<std::string()>("_Z22GetExecutableDirectory" + noArguments)();
}
std::string AddInFixture::SetAddinLocation(const std::string& path) {
  return function<std::string(std::string)>("_Z16SetAddinLocation" + text)(path);
}
bool AddInFixture::FileExists(const std::string& path) {
  return function<bool(const std::string&)>("_Z10FileExistsRK" + text)(path);
}
std::string AddInFixture::ws2s(const std::wstring& wide) {
  return function<std::string(const std::wstring&)>("_Z4ws2sRK" + wideText)(wide);
}
std::string AddInFixture::datetime() {
  return function<std::string()>("_Z8datetime" + noArguments)();
}
