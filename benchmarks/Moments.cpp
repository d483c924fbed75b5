#include <dlfcn.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "benchmarks/Benchmarks.h"
#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Velorin.h"

namespace fs = std::filesystem;

// Outside of all namespaces and never inlined: valgrind is told to count while it runs.
[[gnu::noinline]] void loadAndUnload(const std::string& library) {
  void* const loaded = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (loaded == nullptr) throw std::runtime_error(dlerror());
  dlclose(loaded);
}

namespace {

// As long and as deep as on a user's computer.
const std::string installed = "Users/teacher/Library/Application Support";

substitute::Settings settings(bool offline) {
  substitute::Settings settings = substitute::settingsIn(installed);
  settings.offline = offline;
  return settings;
}

// A host with an add-in in it, which is unloaded first.
struct Session {
  Session(const std::string& library, bool offline) : host(settings(offline)), addin(library) {}

  substitute::Host host;
  substitute::AddIn addin;
};

void doNothing(Session& /*session*/) {}

void start(Session& session) {
  session.addin.run(session.host);
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
  session.addin.stop(session.host);
}

struct Moment {
  const char* name;
  int starts;         // before this one
  std::size_t lines;  // that the info file has more than its two
  bool offline;       // the host at this start
  void (*prepare)(Session& session);
  void (*call)(Session& session);
};

// From the fifth start on nothing opens by itself; with the host offline, not before either.
const Moment moments[] = {
    {"run, first start", 0, 0, false, doNothing, start},
    {"run, fifth start", 4, 0, false, doNothing, start},
    {"run, info file of 1 MB", 4, 10'000, false, doNothing, start},
    {"click, opening", 4, 0, false, start, click},
    {"click, showing again", 2, 0, false, start, click},
    {"going online", 2, 0, true, start, goOnline},
    {"message, without the shell", 2, 0, false, start, followLink},
    {"stop", 2, 0, false, start, stop},
};

// Installs a host in which the add-in was started as often as `moment` says.
void install(const Moment& moment) {
  const fs::path folder = substitute::addinFolderIn(installed);
  fs::remove_all(folder);
  fs::create_directories(folder);
  if (moment.starts == 0) return;
  std::ofstream file(folder / "Velorin_Info.txt");
  file << "16.11.2026\n" << moment.starts << '\n';
  for (std::size_t line = 0; line < moment.lines; ++line) file << std::string(99, 'x') << '\n';
}

}  // namespace

void benchmarks::addMoments() {
  const std::string addin = substitute::besideProgram("Velorin.so");
  const std::string byHand = substitute::besideProgram("ByHand.so");
  const std::string empty = substitute::besideProgram("Empty.so");
  const auto load = [](const std::string& library) {
    return [library] { return [library] { loadAndUnload(library); }; };
  };
  add("load and unload", "the add-in", load(addin));
  add("load and unload", "an empty library", load(empty));
  const auto prepare = [](const Moment& moment, const std::string& library) {
    return [moment, library] {
      install(moment);
      const auto session = std::make_shared<Session>(library, moment.offline);
      moment.prepare(*session);
      return [session, call = moment.call] { call(*session); };
    };
  };
  for (const Moment& moment : moments) {
    add(moment.name, "the add-in", prepare(moment, addin));
    add(moment.name, "by hand", prepare(moment, byHand));
  }
}
