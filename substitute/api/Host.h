// The substitute host as a program drives it: as its user, and as what surrounds a host. The add-in
// uses the same host through <Core/CoreAll.h>.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/CallInterceptor.h"
#include "substitute/api/Event.h"
#include "substitute/api/Export.h"
#include "substitute/api/ReferenceCounted.h"
#include "substitute/api/Signal.h"
#include "substitute/api/Trace.h"

namespace substitute {

class ApplicationObject;
class PaletteObject;
class ToolbarObject;

// The host's number for the user language Czech. The host's own headers do not name it.
inline constexpr int czechLanguage = 2;

// The host's values at its start.
struct Settings {
  // The path that the host reports as its executable, byte for byte.
  std::string executable;
  bool offline = false;
  int language = czechLanguage;
  // The answer to the text command "Debug.EntitlementString"; nothing: the host returns null.
  std::optional<std::string> entitlement;
};

// The objects that Host::plant() and Host::remove() deal with. A plain control shows no command.
enum class ObjectKind { palette, definition, control, plainControl, toolbar };

// The result of a press on a button: the command was executed; or there is no such button, or no
// definition of its command.
enum class ClickResult { done, noControl, noDefinition };

// The one host of the process. All of it belongs to one thread.
class SUBSTITUTE_API Host {
 public:
  // Throws std::logic_error when there is a host already.
  explicit Host(Settings settings);

  // The add-in must be unloaded before.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // The host of the process; null when there is none.
  static Host* current();

  const Settings& settings() const { return settings_; }
  CallInterceptor& interceptor() { return interceptor_; }

  // The root of the host's objects; they live as long as the host.
  ApplicationObject& application() { return *application_; }
  const ApplicationObject& application() const { return *application_; }

  // Published when a call into the add-in has returned or thrown; the exception is traced later.
  Signal<> callReturned;

  // Calls an entry point of the add-in and traces both ends under its `name`, such as "run". The
  // result is the entry point's, or nothing when an exception left it, which is traced.
  std::optional<bool> callEntryPoint(const std::string& name,
                                     const std::function<bool()>& entryPoint);

  // Sets the status and raises the online-status event.
  void setOffline(bool offline);

  // Raises the online-status event with an empty handle in place of its arguments.
  void reportStatusWithoutArguments();

  void setLanguage(int language);
  void setEntitlement(std::optional<std::string> entitlement);

  // Presses the button of the command control `id`: the host creates the command and executes it.
  ClickResult click(const std::string& id);

  // The page of the palette `id` sends `data`, or, when that is nothing, a message without a
  // string. False when there is no such palette.
  bool message(const std::string& id, std::optional<std::string> data);

  // The user shows or hides the palette `id`. False when there is none.
  bool setVisible(const std::string& id, bool visible);

  // The user drags the palette `id` to the place that is `state`
  // (adsk::core::PaletteDockingStates). False when there is none.
  bool setDockingState(const std::string& id, int state);

  // Adds an object, at the end of the first toolbar when it is a control. False when the id is
  // taken, there is no toolbar, or the object is a toolbar.
  bool plant(ObjectKind kind, const std::string& id);

  // Removes an object. False when there is none.
  bool remove(ObjectKind kind, const std::string& id);

  // The palettes, definitions, toolbars and controls, in this order.
  struct Listed {
    ObjectKind kind;
    const ReferenceCounted* object;
  };
  std::vector<Listed> objects() const;

  // The host's values and objects: the keys "offline" to "onlineStatusHandlers" of the state
  // (docs/substitute-host.md), in the order of stateKeys().
  Json state() const;
  static std::vector<std::string> stateKeys();

 private:
  Notifier notifier() const;
  void callAddIn(const std::function<void()>& call) const;
  PaletteObject* palette(const std::string& id) const;

  Settings settings_;
  CallInterceptor interceptor_;
  HostPtr<ApplicationObject> application_;
};

}  // namespace substitute
