// The host application, its preferences and its online status.
#pragma once

#include <cstdint>
#include <string>

#include "EventHandler.h"

namespace adsk::core {

class UserInterface;

// What the host reports when its online status has changed.
class ApplicationEventArgs : public Base {
 public:
  virtual bool isOffLine_raw() const = 0;

  // True when the host is offline after the change.
  bool isOffLine() const { return isOffLine_raw(); }
};

class ApplicationEventHandler : public EventHandler {
 public:
  ApplicationEventHandler() = default;
  ~ApplicationEventHandler() override = default;

  // Called on each firing. `eventArgs` belongs to the host and is valid for this call only.
  virtual void notify(const Ptr<ApplicationEventArgs>& eventArgs) = 0;
};

// An event of the application itself.
class ApplicationEvent : public Base {
 public:
  virtual bool add_raw(ApplicationEventHandler* handler) = 0;

  // Registers `handler`, which stays the caller's. True when registered, false when refused.
  bool add(ApplicationEventHandler* handler) { return add_raw(handler); }
};

class GeneralPreferences : public Base {
 public:
  virtual std::int32_t userLanguage_raw() const = 0;

  // The language that the user has chosen, as a value of the host's.
  std::int32_t userLanguage() const { return userLanguage_raw(); }
};

class Preferences : public Base {
 public:
  virtual GeneralPreferences* generalPreferences_raw() const = 0;

  // The general preferences; empty when the host has none.
  Ptr<GeneralPreferences> generalPreferences() const {
    return Ptr<GeneralPreferences>(generalPreferences_raw(), true);
  }
};

class Application : public Base {
 public:
  // Raw form of get(), supplied by the host's library: counted for the caller, or null.
  ADSK_HOST_API static Application* get_raw();

  // The running host; empty when the host returns none.
  static Ptr<Application> get() { return Ptr<Application>(get_raw(), true); }

  virtual UserInterface* userInterface_raw() const = 0;
  virtual Preferences* preferences_raw() const = 0;
  virtual char* executeTextCommand_raw(const char* command) const = 0;
  virtual bool isOffLine_raw() const = 0;
  virtual ApplicationEvent* onlineStatusChanged_raw() const = 0;

  // The host's user interface; empty when there is none.
  Ptr<UserInterface> userInterface() const { return Ptr<UserInterface>(userInterface_raw(), true); }

  // The host's preferences; empty when there are none.
  Ptr<Preferences> preferences() const { return Ptr<Preferences>(preferences_raw(), true); }

  // Runs the host's text command `command` and returns its answer; empty when there is none.
  std::string executeTextCommand(const std::string& command) const {
    return TakeString(executeTextCommand_raw(command.c_str()));
  }

  // True when the host is offline.
  bool isOffLine() const { return isOffLine_raw(); }

  // The event raised when the online status changes; empty when the host has none.
  Ptr<ApplicationEvent> onlineStatusChanged() const {
    return Ptr<ApplicationEvent>(onlineStatusChanged_raw(), true);
  }
};

}  // namespace adsk::core
