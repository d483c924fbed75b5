// The report: what happens in a host, in words.
#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// The diagnostics: the add-in breaks the rules of counting, or its library cannot be unloaded.
// Neither trace nor state shows this.
namespace diagnostic {
inline constexpr const char* invalidRelease =
    "A reference was dropped that the add-in did not hold!";
inline constexpr const char* invalidDeallocation =
    "A text was handed back that the add-in did not hold!";
inline constexpr const char* stillLoaded =
    "The add-in was let go, yet the process keeps its library.";
}  // namespace diagnostic

// Reports exceptions that leave the add-in and runs of `open` as they happen, everything else when
// it is called.
class Reporter {
 public:
  // Writes to `out`, line by line. Both references outlive the reporter.
  Reporter(Host& host, std::ostream& out);
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  // Writes a line that is about to be played, its control characters escaped.
  void echo(const std::string& line);

  // Writes a line of what comes of that, likewise, and publishes it.
  void print(const std::string& line);

  // Writes a sentence, indented.
  void report(const std::string& sentence);

  // What an entry point returned. Writes nothing when `result` is nothing.
  void reportResult(const std::string& entryPoint, std::optional<bool> result);

  // That the add-in is unloaded, and what it still holds of the host. `stillLoaded` says that its
  // library is in the process nevertheless.
  void reportUnloaded(bool stillLoaded);

  // Reports how the host differs from what it was at the last call of one of these two, how the
  // info file differs from what was reported last, and counting errors that are new. The cost
  // depends on what has changed, not on what the host holds.
  void reportChanges();

  // The same without the report.
  void forgetChanges();

  // A line of what comes of a command, as it is written.
  Signal<std::string> printed;

 private:
  // What a palette or a definition was; `visible` is the palette's.
  struct Former {
    unsigned long serial;
    std::string title;
    bool visible;
  };
  // What was changed, by id, as it was before the first change. Nothing: it was not there.
  using Changes = std::map<std::string, std::optional<Former>>;
  using Controls = std::vector<std::pair<std::string, std::string>>;  // id and class

  void reportEvent(const Json& entry);
  void reportSettings();
  void reportPalettes();
  void reportDefinitions();
  void reportToolbars();
  void reportInfoFile();
  void reportCountingErrors();

  void rememberPalette(const std::string& id);
  void rememberDefinition(const std::string& id);
  void rememberControls(const std::string& toolbar);
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
