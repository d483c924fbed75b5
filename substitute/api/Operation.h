// The list of the operations of the host that an add-in can call. The trace, the fault plan, the
// help and the completion take their names from it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Export.h"

// Class and operation, as the host's interface names them.
#define SUBSTITUTE_OPERATIONS(OPERATION)             \
  OPERATION(Application, get)                        \
  OPERATION(Application, userInterface)              \
  OPERATION(Application, preferences)                \
  OPERATION(Application, executeTextCommand)         \
  OPERATION(Application, isOffLine)                  \
  OPERATION(Application, onlineStatusChanged)        \
  OPERATION(ApplicationEvent, add)                   \
  OPERATION(ApplicationEventArgs, isOffLine)         \
  OPERATION(Base, isValid)                           \
  OPERATION(Base, query)                             \
  OPERATION(Command, commandInputs)                  \
  OPERATION(Command, execute)                        \
  OPERATION(CommandCreatedEvent, add)                \
  OPERATION(CommandCreatedEventArgs, command)        \
  OPERATION(CommandDefinition, commandCreated)       \
  OPERATION(CommandDefinition, deleteMe)             \
  OPERATION(CommandDefinitions, addButtonDefinition) \
  OPERATION(CommandDefinitions, itemById)            \
  OPERATION(CommandEvent, add)                       \
  OPERATION(GeneralPreferences, userLanguage)        \
  OPERATION(HTMLEvent, add)                          \
  OPERATION(HTMLEventArgs, data)                     \
  OPERATION(Palette, deleteMe)                       \
  OPERATION(Palette, dockingState)                   \
  OPERATION(Palette, incomingFromHTML)               \
  OPERATION(Palette, isVisible)                      \
  OPERATION(Palettes, add)                           \
  OPERATION(Palettes, itemById)                      \
  OPERATION(Preferences, generalPreferences)         \
  OPERATION(Toolbar, controls)                       \
  OPERATION(ToolbarControl, deleteMe)                \
  OPERATION(ToolbarControls, addCommand)             \
  OPERATION(ToolbarControls, itemById)               \
  OPERATION(Toolbars, itemById)                      \
  OPERATION(UserInterface, commandDefinitions)       \
  OPERATION(UserInterface, palettes)                 \
  OPERATION(UserInterface, toolbars)

namespace substitute {

// Operation::Palettes_add and so on.
enum class Operation {
#define SUBSTITUTE_ENUMERATOR(owner, operation) owner##_##operation,
  SUBSTITUTE_OPERATIONS(SUBSTITUTE_ENUMERATOR)
#undef SUBSTITUTE_ENUMERATOR
};

// The name by which people and the trace know it: "Palettes.add".
SUBSTITUTE_API const std::string& nameOf(Operation operation);

// All names, in the order of the enumerators.
SUBSTITUTE_API const std::vector<std::string>& operationNames();

// The operation of that name; nothing when there is none.
SUBSTITUTE_API std::optional<Operation> operationNamed(const std::string& name);

}  // namespace substitute
