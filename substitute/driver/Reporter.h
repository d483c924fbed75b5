// The report of what happens in a host, for people.
#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "substitute/api/Collection.h"
#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/Text.h"

namespace substitute {

// What breaks the rules of reference counting, for people. Neither trace nor state shows it.
inline constexpr const char* invalidRelease =
    "A reference was dropped that the add-in did not hold";
inline constexpr const char* invalidDeallocation =
    "A text was handed back that the add-in did not hold";

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
  void echo(const std::string& line) { out_ << printable(line) << std::endl; }

  // Writes a line of output in the same way, and publishes it.
  void print(const std::string& line);

  // Prints a sentence, indented.
  void report(const std::string& sentence) { print("  " + sentence); }

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

  // What is told of a palette or of a definition, which is always visible.
  struct Seen {
    unsigned long serial;
    std::string title;
    bool isVisible;
    std::string opening;  // what is said of it when it is new
  };

 private:
  // The changed objects by id, as before the first change; empty: there was none.
  using Changes = std::map<std::string, std::optional<Seen>>;

  void reportEvent(const Json& entry);
  void reportSettings();
  template <class T>
  void watch(Collection<T>& all, Changes& changes);
  template <class T>
  void reportObjects(const Collection<T>& all, const Changes& changes);
  void reportToolbars();
  void reportFileOfAddIn();
  void reportCountingErrors();

  std::string fileOfAddIn() const;

  Host& host_;
  std::ostream& out_;
  bool offline_ = false;
  int language_ = 0;
  std::optional<std::string> entitlement_;
  Changes palettes_;
  Changes definitions_;
  std::map<std::string, std::vector<std::string>> toolbars_;  // the names of the controls, by id
  std::string fileOfAddIn_;
  long invalidReleases_ = 0;
  long invalidDeallocations_ = 0;
  Signal<Json>::Subscription subscription_;
  std::vector<Signal<std::string>::Subscription> subscriptions_;
};

}  // namespace substitute
