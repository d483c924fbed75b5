// An add-in that asks a host how it behaves. The answers go to VelorinProbe.jsonl beside the
// library.
#include <dlfcn.h>

#include "probe/Answers.h"
#include "probe/Asking.h"
#include "probe/Events.h"
#include "probe/Objects.h"

namespace probe {

namespace {

// Where the library lies, with the slash behind it; empty when the system names no folder.
std::string ownFolder() {
  static const char symbol = 0;
  Dl_info info = {};
  if (dladdr(&symbol, &info) == 0 || info.dli_fname == nullptr) return "";
  const std::string file = info.dli_fname;
  return {file.c_str(), file.rfind('/') + 1};
}

// The address of a page in that folder.
std::string pageAddress(const std::string& folder) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string address = "file://";
  for (const char character : folder + "VelorinProbe.html") {
    const auto byte = static_cast<unsigned char>(character);
    const bool plain = (byte >= '-' && byte <= '9') || (byte >= '@' && byte <= 'Z') ||
                       (byte >= 'a' && byte <= 'z') || byte == '_' || byte == '~';
    if (plain) {
      address += character;
    } else {
      address += '%';
      address += digits[byte / 16];
      address += digits[byte % 16];
    }
  }
  return address;
}

// Removes the probe's objects when the library is unloaded without `stop`.
struct Presence {
  bool there = false;

  void end() {
    if (!there) return;
    there = false;
    removeObjects();
    answers.close();
  }
  ~Presence() { end(); }
};
Presence presence;

}  // namespace

}  // namespace probe

extern "C" {

bool run(const char* /*context*/) {
  const std::string folder = probe::ownFolder();
  if (folder.empty() || !probe::answers.open(folder + "VelorinProbe.jsonl")) return false;
  probe::presence.there = true;
  const std::string address = probe::pageAddress(folder);
  probe::askAboutObjects(address);
  return probe::askAboutEvents(address, folder + "VelorinProbe.throw");
}

bool stop(const char* /*context*/) {
  if (probe::presence.there) probe::endEvents();
  probe::presence.end();
  return true;
}
}
