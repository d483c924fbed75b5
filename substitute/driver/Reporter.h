// Telling in words what happens in a host.
#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// What is told when the add-in breaks the rules of counting, or its library cannot be unloaded.
// Trace and state do not show it.
namespace diagnostic {
inline constexpr const char* invalidRelease =
    "A reference was dropped that the add-in did not hold!";
inline constexpr const char* invalidDeallocation =
    "A text was handed back that the add-in did not hold!";
inline constexpr const char* stillLoaded =
    "The add-in was let go, yet the process keeps its library.";
}  // namespace diagnostic

// `string` in double quotes, as names stand in sentences.
std::string quoted(const std::string& string);

// Tells by itself of exceptions that leave the add-in and of runs of `open`; whatever else it tells
// when it is asked to.
class Reporter {
 public:
  // Writes to `out`, line by line. Both references outlive the reporter.
  Reporter(Host& host, std::ostream& out);
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  // A line as it is; a sentence, indented.
  void print(const std::string& line);
  void say(const std::string& sentence);

  // What an entry point returned; nothing is told when an exception left it.
  void tellResult(const std::string& entryPoint, std::optional<bool> result);

  // That the add-in is unloaded, and what it left behind. `stillLoaded`: its library is in the
  // process nevertheless.
  void tellUnloaded(bool stillLoaded);

  // Only changes from here on are told.
  void watchChanges();

  // How the host and the info file differ from what they were, and which rules of counting were
  // broken. The cost depends on what has changed, not on what there is.
  void tellChanges();

 private:
  // What a palette or a definition was.
  struct Former {
    unsigned long serial;
    std::string title;
    bool visible;
  };
  // What was changed, by id; nothing: it was not there.
  using Changes = std::map<std::string, std::optional<Former>>;
  using Controls = std::vector<std::pair<std::string, std::string>>;  // id and class

  void tellEvent(const Json& entry);
  void tellSettings();
  void tellPalettes();
  void tellDefinitions();
  void tellToolbars();
  void tellInfoFile();
  void tellBrokenRules();

  void keepPalette(const std::string& id);
  void keepDefinition(const std::string& id);
  void keepControls(const std::string& toolbar);
  Controls controlsOf(const std::string& toolbar) const;
  std::string infoFile() const;

  Host& host_;
  std::ostream& out_;
  bool offline_ = false;
  int language_ = 0;
  std::optional<std::string> entitlement_;
  Changes palettes_;
  Changes definitions_;
  std::map<std::string, Controls> toolbars_;  // by id, those that were changed
  std::string infoFile_;
  long invalidReleases_ = 0;
  long invalidDeallocations_ = 0;
  Signal<Json>::Subscription trace_;
  std::vector<Signal<std::string>::Subscription> collections_;
};

}  // namespace substitute
