// Palettes, the host's windows with a web page in them, and the messages of their pages.
#pragma once

#include <cstdint>
#include <string>

#include "EventHandler.h"

namespace adsk::core {

// Where a palette is docked. The values are the host's.
enum PaletteDockingStates : std::int32_t {};

// A message that a palette's page sends. Its action name is not offered: nobody reads it.
class HTMLEventArgs : public Base {
 public:
  virtual char* data_raw() const = 0;

  // The message's data; empty when it has none.
  std::string data() const { return TakeString(data_raw()); }
};

class HTMLEventHandler : public EventHandler {
 public:
  HTMLEventHandler() = default;
  ~HTMLEventHandler() override = default;

  // Called for each message. `eventArgs` belongs to the host and is valid for this call only.
  virtual void notify(const Ptr<HTMLEventArgs>& eventArgs) = 0;
};

// The event that a palette's page raises.
class HTMLEvent : public Base {
 public:
  virtual bool add_raw(HTMLEventHandler* handler) = 0;

  // Registers `handler`, which stays the caller's. True when registered, false when refused.
  bool add(HTMLEventHandler* handler) { return add_raw(handler); }
};

class Palette : public Base {
 public:
  virtual bool dockingState_raw(PaletteDockingStates state) = 0;
  virtual HTMLEvent* incomingFromHTML_raw() const = 0;
  virtual bool isVisible_raw(bool visible) = 0;
  virtual bool deleteMe_raw() = 0;

  // Docks the palette. True when the host did so.
  bool dockingState(PaletteDockingStates state) { return dockingState_raw(state); }

  // The event raised by messages from the palette's page; empty when there is none.
  Ptr<HTMLEvent> incomingFromHTML() const { return Ptr<HTMLEvent>(incomingFromHTML_raw(), true); }

  // Shows or hides the palette. True when the host did so.
  bool isVisible(bool visible) { return isVisible_raw(visible); }

  // Removes the palette from the host; its handles stay counted. True when the host did so.
  bool deleteMe() { return deleteMe_raw(); }
};

// All palettes of the user interface.
class Palettes : public Base {
 public:
  virtual Palette* itemById_raw(const char* id) const = 0;
  virtual Palette* add_raw(const char* id, const char* title, const char* address, bool flag1,
                           bool flag2, bool flag3, int number1, int number2, bool flag4) = 0;

  // The palette with that id; empty when there is none.
  Ptr<Palette> itemById(const std::string& id) const {
    return Ptr<Palette>(itemById_raw(id.c_str()), true);
  }

  // Creates a palette that shows the page at `address`. What the flags and numbers mean is the
  // host's to say. Empty when the host refuses.
  Ptr<Palette> add(const std::string& id, const std::string& title, const std::string& address,
                   bool flag1, bool flag2, bool flag3, int number1, int number2, bool flag4) {
    return Ptr<Palette>(add_raw(id.c_str(), title.c_str(), address.c_str(), flag1, flag2, flag3,
                                number1, number2, flag4),
                        true);
  }
};

}  // namespace adsk::core
