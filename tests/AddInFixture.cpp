#include "tests/AddInFixture.h"

#include <grp.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/System.h"

namespace fs = std::filesystem;
using substitute::Json;

namespace {

constexpr const char* infoFileName = "/Velorin_Info.txt";

std::string asText(const Json& value) {
  return value.dump(-1, ' ', false);
}

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
    return entry.contains("value") ? event + " " + asText(entry["value"]) : event;
  }
  std::string arguments;
  for (const Json& argument : entry["args"]) {
    arguments += (arguments.empty() ? "" : ", ") + asText(argument);
  }
  std::string words = entry["op"].get<std::string>() + "(" + arguments + ")";
  const std::string on = entry.value("on", "");
  if (on.find(':') != std::string::npos) words += " on " + on;
  if (entry.contains("fault")) return words + " fails by " + entry["fault"].get<std::string>();
  const Json& result = entry["result"];
  return words + " = " + (result.is_string() ? result.get<std::string>() : asText(result));
}

substitute::Operation named(const std::string& operation) {
  const std::optional<substitute::Operation> found = substitute::operationNamed(operation);
  if (!found) throw std::invalid_argument(operation + " is not an operation");
  return *found;
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
  fs::create_directories(substitute::addinFolderIn(folder.path()));
  infoFile = substitute::addinFolderIn(folder.path()) + infoFileName;
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
        << "strings were handed back that were not held";
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

void AddInFixture::openFolderToAll() {
  for (fs::path way = fs::path(infoFile).parent_path();
       way != fs::path(folder.path()).parent_path(); way = way.parent_path()) {
    fs::permissions(way, fs::perms(0755));
  }
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

AddInFixture::Calls AddInFixture::callsOf(const std::string& operation) {
  Calls words;
  for (const std::string& call : calls()) {
    if (call.rfind(operation + "(", 0) == 0) words.push_back(call);
  }
  return words;
}

void AddInFixture::expectFatal(const std::function<void()>& call) {
  EXPECT_EXIT(call(), testing::KilledBySignal(SIGABRT), emptyHandleAssertion);
}

void AddInFixture::fail(const std::string& operation, std::uint64_t nth) {
  host->interceptor().faults.add(named(operation), nth, substitute::Failure::null);
}

void AddInFixture::throwIn(const std::string& operation, std::uint64_t nth) {
  host->interceptor().faults.add(named(operation), nth, substitute::Failure::exception);
}

Json AddInFixture::learningPalette() {
  for (const Json& entry : Json(state()["palettes"])) {
    if (entry["id"] == "teachPalete") return entry;
  }
  return {};
}

void* AddInFixture::function(const std::string& mangledBegin) {
  load();
  // The rest of the name is how the C++ library spells std::string: first libstdc++, then libc++.
  for (const char* const end :
       {"", "v", "B5cxx11v", "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
        "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
        "RKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE",
        "NSt3__112basic_stringIcNS_11char_traitsIcEENS_9allocatorIcEEEE",
        "RKNSt3__112basic_stringIcNS_11char_traitsIcEENS_9allocatorIcEEEE",
        "RKNSt3__112basic_stringIwNS_11char_traitsIwEENS_9allocatorIwEEEE"}) {
    if (void* const address = addin->symbol((mangledBegin + end).c_str())) return address;
  }
  throw std::runtime_error(mangledBegin + " is not exported");
}

bool AddInFixture::OpenPalette() {
  return reinterpret_cast<bool (*)()>(function("_Z11OpenPalettev"))();
}
std::int32_t AddInFixture::AutoOpenPalette() {
  return reinterpret_cast<std::int32_t (*)()>(function("_Z15AutoOpenPalettev"))();
}
std::string AddInFixture::GetExecutableDirectory() {
  return reinterpret_cast<std::string (*)()>(function("_Z22GetExecutableDirectory"))();
}
std::string AddInFixture::SetAddinLocation(const std::string& path) {
  return reinterpret_cast<std::string (*)(std::string)>(function("_Z16SetAddinLocation"))(path);
}
bool AddInFixture::FileExists(const std::string& path) {
  return reinterpret_cast<bool (*)(const std::string&)>(function("_Z10FileExists"))(path);
}
std::string AddInFixture::ws2s(const std::wstring& text) {
  return reinterpret_cast<std::string (*)(const std::wstring&)>(function("_Z4ws2s"))(text);
}
std::string AddInFixture::datetime() {
  return reinterpret_cast<std::string (*)()>(function("_Z8datetime"))();
}
std::int32_t AddInFixture::countLeapYears(Date date) {
  return reinterpret_cast<std::int32_t (*)(Date)>(function("_Z14countLeapYears4Date"))(date);
}
std::int64_t AddInFixture::getDifference(Date first, Date second) {
  return reinterpret_cast<std::int64_t (*)(Date, Date)>(function("_Z13getDifference4DateS_"))(
      first, second);
}

adsk::core::Ptr<adsk::core::Application>& AddInFixture::app() {
  return global<adsk::core::Ptr<adsk::core::Application>>("app");
}
adsk::core::Ptr<adsk::core::UserInterface>& AddInFixture::ui() {
  return global<adsk::core::Ptr<adsk::core::UserInterface>>("ui");
}
adsk::core::Ptr<adsk::core::Palette>& AddInFixture::palette() {
  return global<adsk::core::Ptr<adsk::core::Palette>>("palette");
}
std::int32_t& AddInFixture::countOpenPalette() {
  return global<std::int32_t>("countOpenPalette");
}
