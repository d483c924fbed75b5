// Toolbars and the controls in them.
#pragma once

#include <string>

#include "Commands.h"

namespace adsk::core {

// Anything that stands in a toolbar.
class ToolbarControl : public Base {
 public:
  virtual bool deleteMe_raw() = 0;

  // Removes the control from its toolbar; its handles stay counted. True when the host did so.
  bool deleteMe() { return deleteMe_raw(); }
};

// A control that shows a command.
class CommandControl : public ToolbarControl {
 public:
  // Raw form of interfaceId(), supplied by the host's library.
  ADSK_HOST_API static const char* classType();

  // The identifier by which Base::query asks for this interface. The string is the host's.
  static const char* interfaceId() { return classType(); }
};

// The controls of one toolbar.
class ToolbarControls : public Base {
 public:
  virtual CommandControl* addCommand_raw(CommandDefinition* definition, const char* position,
                                         bool flag) = 0;
  virtual ToolbarControl* itemById_raw(const char* id) const = 0;

  // Adds a control for `definition`, placed by the existing control with the id `position`; what
  // the flag means is the host's to say. Empty when the host refuses.
  Ptr<CommandControl> addCommand(const Ptr<CommandDefinition>& definition,
                                 const std::string& position, bool flag) {
    return Ptr<CommandControl>(addCommand_raw(definition.get(), position.c_str(), flag), true);
  }

  // The control with that id; empty when there is none.
  Ptr<ToolbarControl> itemById(const std::string& id) const {
    return Ptr<ToolbarControl>(itemById_raw(id.c_str()), true);
  }
};

class Toolbar : public Base {
 public:
  virtual ToolbarControls* controls_raw() const = 0;

  // The toolbar's controls; empty when the host returns none.
  Ptr<ToolbarControls> controls() const { return Ptr<ToolbarControls>(controls_raw(), true); }
};

// All toolbars of the user interface.
class Toolbars : public Base {
 public:
  virtual Toolbar* itemById_raw(const char* id) const = 0;

  // The toolbar with that id; empty when there is none.
  Ptr<Toolbar> itemById(const std::string& id) const {
    return Ptr<Toolbar>(itemById_raw(id.c_str()), true);
  }
};

}  // namespace adsk::core
