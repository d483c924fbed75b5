// benchmark-counts: makes each call that is measured once, between two marks. What is counted there
// depends on what the program runs under: instructions (valgrind --tool=callgrind), system calls
// (strace), allocations and host calls (the library `allocations` preloaded). One line of JSON for
// each call on standard output.
#include <dlfcn.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "benchmarks/Allocations.h"
#include "benchmarks/HandleOperations.h"
#include "benchmarks/Situations.h"

namespace {

using namespace benchmarks;
using substitute::Json;

// The part of the run that is measured; there is one at a time.
struct Window {
  std::string name;
  bool open = false;
  Allocations allocations = {};
};
Window window;

void begin(const std::string& name) {
  window.name = name;
  window.open = true;
  if (beginAllocations != nullptr) beginAllocations();
  static_cast<void>(access("benchmark begins", F_OK));
  CALLGRIND_ZERO_STATS;
  CALLGRIND_TOGGLE_COLLECT;
}

void end() {
  if (!window.open) return;
  CALLGRIND_TOGGLE_COLLECT;
  CALLGRIND_DUMP_STATS_AT(window.name.c_str());
  static_cast<void>(access("benchmark ends", F_OK));
  if (endAllocations != nullptr) window.allocations = endAllocations();
  window.open = false;
}

// Tells what was measured, with what else is known about it.
void tell(const Json& more = Json::object()) {
  Json line = {{"name", window.name}};
  if (endAllocations != nullptr) {
    const Allocations& allocations = window.allocations;
    const auto count = [&](Owner owner) {
      return allocations.count[static_cast<std::size_t>(owner)];
    };
    line["allocations"] = {{"text", count(Owner::text)},
                           {"stream", count(Owner::stream)},
                           {"cLibrary", count(Owner::cLibrary)}};
    line["textBytes"] = Json::array();
    for (std::size_t i = 0; i < allocations.kept; ++i) {
      if (allocations.all[i].owner == Owner::text)
        line["textBytes"].push_back(allocations.all[i].bytes);
    }
    line["peakBytes"] = allocations.peakBytes;
  }
  line.update(more);
  std::cout << substitute::line(line) << '\n' << std::flush;
}

void measure(const std::string& name, const std::function<void()>& call) {
  begin(name);
  call();
  end();
}

void measureHandles() {
  const Installation installation;
  Session session(installation, false);
  session.host().plant(substitute::ObjectKind::palette, "one");
  session.host().plant(substitute::ObjectKind::palette, "other");
  const auto ui = adsk::core::Application::get()->userInterface();
  const auto palettes = ui->palettes();
  const auto toolbar = ui->toolbars()->itemById("QATRight");
  for (const HandleOperations& handle : handleOperations()) {
    const std::string kind = std::string(": ") + handle.kind;
    // Each holds a counted reference of its own.
    const auto palette = [&](const char* id) { return palettes->itemById_raw(id); };
    adsk::core::Palette* one = palette("one");
    adsk::core::Palette* other = palette("other");
    adsk::core::Palette* made = nullptr;
    adsk::core::ToolbarControl* control = toolbar->controls()->itemById_raw("HelpGroupCommand");
    adsk::core::CommandControl* command = nullptr;
    adsk::core::Palette* const given = palette("one");
    measure("attach and destroy" + kind, [&] { handle.attachAndDestroy(given); });
    tell();
    measure("copy" + kind, [&] { handle.copy(&one, &made); });
    tell();
    measure("assign another" + kind, [&] { handle.assign(&made, &other); });
    tell();
    measure("assign itself" + kind, [&] { handle.assign(&made, &made); });
    tell();
    measure("test" + kind, [&] { handle.test(&one); });
    tell();
    measure("arrow" + kind, [&] { handle.arrow(&one); });
    tell();
    measure("conversion by query" + kind, [&] { handle.convert(&control, &command); });
    tell();
    one->release();
    other->release();
    made->release();
    control->release();
    command->release();
  }
}

std::string textOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void measureSituations(const std::string& library) {
  for (const Situation& situation : situations()) {
    const Prepared prepared = prepare(situation, library);
    Json calls = Json::array();
    substitute::Signal<Json>::Subscription listening;
    if (!RUNNING_ON_VALGRIND) {
      listening = prepared.session->host().interceptor().trace.subscribe(
          [&](const Json& entry) { calls.push_back(entry); });
    }
    bool result = false;
    measure(situation.name, [&] { result = prepared.call(); });
    listening.reset();
    tell({{"hostCalls", calls},
          {"result", result},
          {"infoFile", textOf(prepared.installation->infoFile())}});
  }
}

void measureUpdate(const std::string& library, std::size_t lines, std::size_t width) {
  const Installation installation;
  installation.writeInfoFile(lines, 4, width);
  Session session(installation, false);
  session.load(library);
  const auto bytes = std::filesystem::file_size(installation.infoFile());
  measure("update of " + std::to_string(lines) + " lines", [&] { session.autoOpenPalette(); });
  tell({{"lines", lines}, {"bytes", bytes}});
}

void measureMessage(const std::string& library, std::size_t bytes) {
  const Installation installation;
  installation.writeInfoFile(2, 2, 0);
  Session session(installation, false);
  session.load(library);
  session.run(nullptr);
  const auto message = session.message(std::string(bytes, 'x'));
  message();  // so that the memory for the next one lies ready, whatever was there before
  // Its end is in `system`.
  measure("message of " + std::to_string(bytes) + " bytes", message);
  tell({{"bytes", bytes}});
}

void measureLoading(const std::string& library) {
  void* handle = nullptr;
  measure("load", [&] { handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL); });
  if (handle == nullptr) throw substitute::LoadError(dlerror());
  tell();
  measure("unload", [&] { dlclose(handle); });
  tell();
}

int usage() {
  std::cerr << "usage: benchmark-counts handles | situations LIBRARY | loading LIBRARY |\n"
               "       update LIBRARY LINES WIDTH... | message LIBRARY BYTES...\n";
  return 2;
}

}  // namespace

// What comes before the shell is measured, the shell is not run.
int system(const char* /*command*/) {
  end();
  return 0;
}

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const std::string what = words.empty() ? "" : words[0];
  try {
    if (what == "handles" && words.size() == 1) {
      measureHandles();
    } else if (what == "situations" && words.size() == 2) {
      measureSituations(words[1]);
    } else if (what == "loading" && words.size() == 2) {
      measureLoading(words[1]);
    } else if (what == "update" && words.size() > 3 && words.size() % 2 == 0) {
      for (std::size_t i = 2; i < words.size(); i += 2) {
        measureUpdate(words[1], std::stoul(words[i]), std::stoul(words[i + 1]));
      }
    } else if (what == "message" && words.size() > 2) {
      for (std::size_t i = 2; i < words.size(); ++i) measureMessage(words[1], std::stoul(words[i]));
    } else {
      return usage();
    }
  } catch (const std::exception& error) {
    std::cerr << "benchmark-counts: " << error.what() << ".\n";
    return 1;
  }
  return 0;
}
