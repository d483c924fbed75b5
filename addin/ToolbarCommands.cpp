#include "addin/ToolbarCommands.h"

#include <cstdlib>

#include "addin/GlobalState.h"
#include "palette/LearningPalette.h"

using namespace adsk::core;

namespace {

// The inputs are asked for only as a sign that the command can be used.
void connect(const Ptr<CommandCreatedEventArgs>& eventArgs, CommandEventHandler* handler) {
  const Ptr<Command> command = eventArgs->command();
  if (!command->commandInputs()) return;
  const Ptr<CommandEvent> execute = command->execute();
  if (!execute) return;
  execute->add(handler);
}

}  // namespace

CmdCreatedEventHandler::~CmdCreatedEventHandler() = default;

void CmdCreatedEventHandler::notify(const Ptr<CommandCreatedEventArgs>& eventArgs) {
  connect(eventArgs, &_cmdExecute);
}

CmdExecuteEventHandler::~CmdExecuteEventHandler() = default;

void CmdExecuteEventHandler::notify(const Ptr<CommandEventArgs>& /*eventArgs*/) {
  OpenPalette();
}

CmdEshopCreatedEventHandler::~CmdEshopCreatedEventHandler() = default;

void CmdEshopCreatedEventHandler::notify(const Ptr<CommandCreatedEventArgs>& eventArgs) {
  connect(eventArgs, &_cmdEshopExecute);
}

CmdEshopExecuteEventHandler::~CmdEshopExecuteEventHandler() = default;

void CmdEshopExecuteEventHandler::notify(const Ptr<CommandEventArgs>& /*eventArgs*/) {
  [[maybe_unused]] const int status = std::system("open " VELORIN_ESHOP_ADDRESS);
}
