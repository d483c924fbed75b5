// Commands: their definitions, and what happens when a user calls one.
#pragma once

#include <string>

#include "EventHandler.h"

namespace adsk::core {

// What a command asks its user for.
class CommandInputs : public Base {};

// What the host reports when a command executes.
class CommandEventArgs : public Base {};

class CommandEventHandler : public EventHandler {
 public:
  CommandEventHandler() = default;
  ~CommandEventHandler() override = default;

  // Called on each firing. `eventArgs` belongs to the host and is valid for this call only.
  virtual void notify(const Ptr<CommandEventArgs>& eventArgs) = 0;
};

// An event of a command, such as its execution.
class CommandEvent : public Base {
 public:
  virtual bool add_raw(CommandEventHandler* handler) = 0;

  // Registers `handler`, which stays the caller's. True when registered, false when refused.
  bool add(CommandEventHandler* handler) { return add_raw(handler); }
};

// A command that the host has created for one use of a definition.
class Command : public Base {
 public:
  virtual CommandInputs* commandInputs_raw() const = 0;
  virtual CommandEvent* execute_raw() const = 0;

  // The command's inputs; empty when it has none.
  Ptr<CommandInputs> commandInputs() const { return Ptr<CommandInputs>(commandInputs_raw(), true); }

  // The event raised when the command executes; empty when there is none.
  Ptr<CommandEvent> execute() const { return Ptr<CommandEvent>(execute_raw(), true); }
};

// What the host reports when it has created a command.
class CommandCreatedEventArgs : public Base {
 public:
  virtual Command* command_raw() const = 0;

  // The command just created.
  Ptr<Command> command() const { return Ptr<Command>(command_raw(), true); }
};

class CommandCreatedEventHandler : public EventHandler {
 public:
  CommandCreatedEventHandler() = default;
  ~CommandCreatedEventHandler() override = default;

  // Called on each firing. `eventArgs` belongs to the host and is valid for this call only.
  virtual void notify(const Ptr<CommandCreatedEventArgs>& eventArgs) = 0;
};

// The event raised when the host creates a definition's command.
class CommandCreatedEvent : public Base {
 public:
  virtual bool add_raw(CommandCreatedEventHandler* handler) = 0;

  // Registers `handler`, which stays the caller's. True when registered, false when refused.
  bool add(CommandCreatedEventHandler* handler) { return add_raw(handler); }
};

// What a command is called, looks like and does; controls show it.
class CommandDefinition : public Base {
 public:
  virtual CommandCreatedEvent* commandCreated_raw() const = 0;
  virtual bool deleteMe_raw() = 0;

  // The event raised when the host creates the command for a click; empty when there is none.
  Ptr<CommandCreatedEvent> commandCreated() const {
    return Ptr<CommandCreatedEvent>(commandCreated_raw(), true);
  }

  // Removes the definition from the host; its controls stay. True when the host did so.
  bool deleteMe() { return deleteMe_raw(); }
};

// All command definitions of the user interface.
class CommandDefinitions : public Base {
 public:
  virtual CommandDefinition* addButtonDefinition_raw(const char* id, const char* name,
                                                     const char* tooltip,
                                                     const char* resourceFolder) = 0;
  virtual CommandDefinition* itemById_raw(const char* id) const = 0;

  // Creates the definition of a button, whose icons lie in `resourceFolder`. Empty when the host
  // refuses.
  Ptr<CommandDefinition> addButtonDefinition(const std::string& id, const std::string& name,
                                             const std::string& tooltip,
                                             const std::string& resourceFolder) {
    return Ptr<CommandDefinition>(
        addButtonDefinition_raw(id.c_str(), name.c_str(), tooltip.c_str(), resourceFolder.c_str()),
        true);
  }

  // The definition with that id; empty when there is none.
  Ptr<CommandDefinition> itemById(const std::string& id) const {
    return Ptr<CommandDefinition>(itemById_raw(id.c_str()), true);
  }
};

}  // namespace adsk::core
