#include "benchmarks/Moments.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "substitute/driver/Installation.h"
#include "substitute/driver/Velorin.h"

namespace fs = std::filesystem;

namespace benchmarks {

namespace {

// As long and as deep as on a user's computer.
const std::string installed = "Users/teacher/Library/Application Support";

substitute::Settings settings(bool offline) {
  substitute::Settings settings = substitute::settingsIn(installed);
  settings.offline = offline;
  return settings;
}

void doNothing(Session& /*session*/) {}

void start(Session& session) {
  session.addin->run(session.host);
}

void click(Session& session) {
  session.host.click(substitute::learningButton);
}

void goOnline(Session& session) {
  session.host.setOffline(false);
}

void followLink(Session& session) {
  session.host.message(substitute::learningPalette,
                       "\"https://learning.velorin.example/lessons/first-sketch\"");
}

void stop(Session& session) {
  session.addin->stop(session.host);
}

}  // namespace

Installation::Installation() {
  const fs::path memory = "/dev/shm";
  const fs::path parent = access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path();
  folder_ = parent / "velorin-benchmark-XXXXXX";
  if (mkdtemp(folder_.data()) == nullptr)
    throw std::runtime_error("no folder in " + parent.string());
  fs::current_path(folder_);
  fs::create_directories(substitute::addinFolderIn(installed));
}

Installation::~Installation() {
  std::error_code ignored;
  fs::current_path("/", ignored);
  fs::remove_all(folder_, ignored);
}

std::string Installation::infoFile() {
  return substitute::addinFolderIn(installed) + "/Velorin_Info.txt";
}

void Installation::writeInfoFile(int starts, std::size_t lines, std::size_t width) {
  fs::remove(infoFile());
  if (starts == 0) return;
  std::ofstream file(infoFile());
  file << "16.11.2026\n" << starts << '\n';
  const std::string further(width, 'x');
  for (std::size_t line = 2; line < lines; ++line) file << further << '\n';
}

Session::Session(std::unique_ptr<substitute::AddIn> loaded, bool offline)
    : host(settings(offline)), addin(std::move(loaded)) {}

const std::vector<Moment>& moments() {
  // From the fifth start on nothing opens by itself; with the host offline, not before either.
  static const std::vector<Moment> all = {
      {"run, first start", 0, false, doNothing, start},
      {"run, fifth start", 4, false, doNothing, start},
      {"click, opening", 4, false, start, click},
      {"click, showing again", 2, false, start, click},
      {"going online", 2, true, start, goOnline},
      {"message, until the shell", 2, false, start, followLink},
      {"stop", 2, false, start, stop},
  };
  return all;
}

std::unique_ptr<Session> prepare(const Moment& moment, std::unique_ptr<substitute::AddIn> addin) {
  Installation::writeInfoFile(moment.starts);
  auto session = std::make_unique<Session>(std::move(addin), moment.offline);
  moment.prepare(*session);
  return session;
}

std::string builtLibrary(const std::string& name) {
  return (fs::read_symlink("/proc/self/exe").parent_path() / name).string();
}

}  // namespace benchmarks
