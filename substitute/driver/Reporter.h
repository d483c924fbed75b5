// The report of what happens in a host, for people.
#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"

namespace substitute {

// The diagnostics for an add-in that breaks the rules of reference counting, or whose library
// cannot be unloaded. Neither trace nor state shows this.
namespace diagnostic {
inline constexpr const char* invalidRelease =
    "A reference was dropped that the add-in did not hold!";
inline constexpr const char* invalidDeallocation =
    "A text was handed back that the add-in did not hold!";
inline constexpr const char* stillLoaded =
    "The add-in was let go, yet the process keeps its library.";
}  // namespace diagnostic

// "1 reference and 0 texts".
std::string heldResources(const ResourceCounts& counts);

// Reports runs of `open`, and exceptions that leave the add-in, as they happen; all else when a
// member function is called.
class Reporter {
 public:
  // Writes to `out` and flushes each line. Both references outlive the reporter.
  Reporter(Host& host, std::ostream& out);
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  // Writes a line that is played next, with its control characters escaped.
  void echo(const std::string& line);

  // Writes a line of output in the same way, and publishes it.
  void print(const std::string& line);

  // Prints a sentence, indented.
  void report(const std::string& sentence);

  // Reports the result of an entry point. Does nothing when `result` is empty.
  void reportResult(const std::string& entryPoint, std::optional<bool> result);

  // Reports that the add-in is unloaded, what remains of it, and which resources of the host it
  // still holds.
  void reportUnloaded(const AddIn::Remains& remains);

  // Reports what changed in the host since the last call of this or of forgetChanges(), what
  // changed in the file of the profile since the last report, and new errors of reference counting.
  // The cost depends on the number of changes, not on the number of objects in the host.
  void reportChanges();

  // Ignores the changes in the host so far.
  void forgetChanges();

  // A line of output, as it was written.
  Signal<std::string> printed;

 private:
  // The former values of a palette or a definition; `visible` is used for palettes alone.
  struct Former {
    unsigned long serial;
    std::string title;
    bool visible;
  };
  // The changed objects by id, as before the first change. Empty: the object did not exist.
  using Changes = std::map<std::string, std::optional<Former>>;
  using Controls = std::vector<std::pair<std::string, std::string>>;  // id and class

  void reportEvent(const Json& entry);
  void reportSettings();
  void reportPalettes();
  void reportDefinitions();
  void reportToolbars();
  void reportFileOfAddIn();
  void reportCountingErrors();

  void rememberPalette(const std::string& id);
  void rememberDefinition(const std::string& id);
  void rememberControls(const std::string& toolbar);
  Controls controlsOf(const std::string& toolbar) const;
  std::string fileOfAddIn() const;

  Host& host_;
  std::ostream& out_;
  bool offline_ = false;
  int language_ = 0;
  std::optional<std::string> entitlement_;
  Changes palettes_;
  Changes definitions_;
  std::map<std::string, Controls> toolbars_;  // by id; the changed ones
  std::string fileOfAddIn_;
  long invalidReleases_ = 0;
  long invalidDeallocations_ = 0;
  Signal<Json>::Subscription trace_;
  std::vector<Signal<std::string>::Subscription> collections_;
};

}  // namespace substitute
