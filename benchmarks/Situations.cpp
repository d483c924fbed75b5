#include "benchmarks/Situations.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <type_traits>

namespace fs = std::filesystem;

namespace benchmarks {

Installation::Installation(const std::string& parent) {
  static int number = 0;
  char name[64];
  std::snprintf(name, sizeof name, "velorin-benchmark-%08d-%08d", static_cast<int>(getpid()),
                ++number);
  directory_ = ((parent.empty() ? fs::temp_directory_path() : fs::path(parent)) / name).string();
  fs::create_directories(substitute::addinFolderIn(directory_));
}

Installation::~Installation() {
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

std::string Installation::infoFile() const {
  return substitute::addinFolderIn(directory_) + "/Velorin_Info.txt";
}

void Installation::writeInfoFile(std::size_t lines, int count, std::size_t width) const {
  std::ofstream file(infoFile());
  const std::string further(width, 'x');
  if (lines == 1) {
    file << further;
    return;
  }
  file << "16.11.2026\n" << count << '\n';
  for (std::size_t line = 2; line < lines; ++line) file << further << '\n';
}

std::string memoryFolder() {
  const char* const folder = "/dev/shm";
  return access(folder, W_OK) == 0 ? folder : fs::temp_directory_path().string();
}

Session::Session(const Installation& installation, bool offline, bool recordsOpen)
    : host_([&] {
        substitute::Settings settings = substitute::settingsIn(installation.directory());
        settings.offline = offline;
        return settings;
      }()) {
  if (recordsOpen) recorder_.emplace(host_);
}

void Session::load(const std::string& library) {
  addin_.emplace(library);
  const auto find = [&](auto*& function, const char* name) {
    void* const address = addin_->symbol(name);
    if (address == nullptr) throw substitute::LoadError(library + " shows no " + name);
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(address);
  };
  find(run, "run");
  find(stop, "stop");
  find(openPalette, "_Z11OpenPalettev");
  find(autoOpenPalette, "_Z15AutoOpenPalettev");
}

std::function<void()> Session::onlineReport() {
  substitute::ApplicationObject& application = host_.application();
  application.offline = false;
  auto* const handler = static_cast<adsk::core::ApplicationEventHandler*>(
      application.onlineStatusChanged->registrations.handlers().at(0));
  auto* const arguments = new substitute::ApplicationEventArgsObject(host_.interceptor(), false);
  arguments->addRefForAddIn();
  arguments->releaseForHost();
  return [handler, handle = adsk::core::Ptr<adsk::core::ApplicationEventArgs>(arguments, true)] {
    handler->notify(handle);
  };
}

std::function<void()> Session::message(const std::string& text) {
  const auto& palettes = host_.application().userInterface->palettes->all;
  auto* const handler = static_cast<adsk::core::HTMLEventHandler*>(
      palettes.find("teachPalete")->incomingFromHTML->registrations.handlers().at(0));
  auto* const arguments = new substitute::HTMLEventArgsObject(host_.interceptor(), text);
  arguments->addRefForAddIn();
  arguments->releaseForHost();
  return [handler, handle = adsk::core::Ptr<adsk::core::HTMLEventArgs>(arguments, true)] {
    handler->notify(handle);
  };
}

const std::vector<Situation>& situations() {
  using Call = std::function<bool()>;
  const auto run = [](Session& session) -> Call { return [&] { return session.run(nullptr); }; };
  const auto openPalette = [](Session& session) -> Call {
    session.run(nullptr);
    return [&] { return session.openPalette(); };
  };
  const auto onlineReport = [](Session& session) -> Call {
    session.run(nullptr);
    return [report = session.onlineReport()] {
      report();
      return true;
    };
  };
  const auto stop = [](Session& session) -> Call {
    session.run(nullptr);
    return [&] { return session.stop(nullptr); };
  };
  // From the fifth start on nothing opens by itself; with the host offline, not before either.
  static const std::vector<Situation> all = {
      {"run, first start", true, 0, false, run},
      {"run, fifth start", false, 4, false, run},
      {"OpenPalette, creating", false, 4, false, openPalette},
      {"OpenPalette, finding", false, 2, false, openPalette},
      {"online report, creating", false, 2, true, onlineReport},
      {"online report, finding", false, 2, false, onlineReport},
      {"stop", false, 2, false, stop},
  };
  return all;
}

Prepared prepare(const Situation& situation, const std::string& library) {
  Prepared prepared;
  prepared.installation = std::make_unique<Installation>();
  if (!situation.firstStart) prepared.installation->writeInfoFile(2, situation.count, 0);
  prepared.session = std::make_unique<Session>(*prepared.installation, situation.offline);
  prepared.session->load(library);
  prepared.call = situation.prepare(*prepared.session);
  return prepared;
}

std::string builtLibrary(const std::string& name) {
  return (fs::read_symlink("/proc/self/exe").parent_path() / name).string();
}

}  // namespace benchmarks
