// The substitute host as a program drives it: what the user does, what the host's surroundings do,
// and what can be seen of it. The add-in meets the same host through <Core/CoreAll.h>.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "substitute/core/Gate.h"

namespace adsk::core {
class EventHandler;
}

namespace substitute {

class ApplicationObject;
class PaletteObject;
class OpenRecorder;
class ToolbarObject;

// The host's values at its start.
struct Settings {
  // The path that the host reports as its executable, byte for byte.
  std::string executable;
  bool offline = false;
  int language = 2;
  // The answer to the host's entitlement command; none: the host returns null.
  std::optional<std::string> entitlement = "VELORIN-EXAMPLE 2026";
  // Runs of the shell's `open` are recorded, not carried out; false: the system's own `open` runs
  // and leaves no record.
  bool recordOpen = true;
};

// Where a host that is installed in `directory` has its executable, and the add-in its folder.
std::string executableIn(const std::string& directory);
std::string addinFolderIn(const std::string& directory);

// What can be put into the host and taken away by hand.
enum class Kind { palette, definition, control, plainControl, toolbar };

// What comes of a press on a button.
enum class Click { done, noControl, noDefinition };

// The one host of the process. All of it belongs to one thread.
class Host {
 public:
  // Throws std::logic_error when there is a host already, std::runtime_error when `open`
  // cannot be replaced.
  explicit Host(Settings settings);

  // The add-in is to be unloaded by now.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // The host of the process; null when there is none.
  static Host* current();

  const Settings& settings() const { return settings_; }
  Gate& gate() { return gate_; }

  // The objects behind it all; they live as long as the host.
  ApplicationObject& application() { return *application_; }

  // The add-in's call through which `work` runs, such as "run": both ends stand in the trace. The
  // result is that of `work`, or nothing when an exception left it, which the trace tells.
  std::optional<bool> enter(const std::string& call, const std::function<bool()>& work);

  // Sets the status and raises the online-status event.
  void setOffline(bool offline);

  // Raises the online-status event with an empty handle in place of its arguments.
  void reportStatusWithoutArguments();

  void setLanguage(int language);
  void setEntitlement(std::optional<std::string> text);

  // Presses the button of the command control `id`: the host creates the command and executes it.
  Click click(const std::string& id);

  // The page of the palette `id` sends `data`; nothing: a message without text. False when there is
  // no such palette.
  bool message(const std::string& id, std::optional<std::string> data);

  // The user shows or hides the palette `id`. False when there is none.
  bool setVisible(const std::string& id, bool visible);

  // Puts an object there, or takes it away. False when the id is taken, or is not there. A control
  // goes into the first toolbar; a toolbar cannot be planted.
  bool plant(Kind kind, const std::string& id);
  bool remove(Kind kind, const std::string& id);

  // All that can be seen of the host, as the command `state` prints it (docs/substitute-host.md).
  Json state() const;

  // Where the add-in looks for its info file when the host reports this executable.
  std::string infoFile() const;

  // The arguments of each run of `open` so far.
  const std::vector<std::vector<std::string>>& opened() const;

 private:
  void notify(adsk::core::EventHandler& handler, const std::function<void()>& call);
  void guarded(const std::function<void()>& call);
  ToolbarObject* firstToolbar() const;
  PaletteObject* palette(const std::string& id) const;

  Settings settings_;
  Gate gate_;
  Held<ApplicationObject> application_;
  std::unique_ptr<OpenRecorder> recorder_;
  std::vector<std::vector<std::string>> opened_;
};

}  // namespace substitute
