#include "addin/GlobalState.h"

#include "addin/ToolbarCommands.h"
#include "palette/OnlineStatus.h"
#include "palette/PageMessages.h"

// All in one file: they are constructed in this order and destroyed in the reverse one.
adsk::core::Ptr<adsk::core::Application> app;
adsk::core::Ptr<adsk::core::UserInterface> ui;
adsk::core::Ptr<adsk::core::Palette> palette;
std::int32_t countOpenPalette = 0;
RovaHTMLEventHandler _onHTMLEvent;
CadFirst3sHTMLEventHandler _onHTMLEventFirst3;
CmdExecuteEventHandler _cmdExecute;
CmdEshopExecuteEventHandler _cmdEshopExecute;
CmdCreatedEventHandler _cmdCreated;
CmdEshopCreatedEventHandler _cmdEshopCreated;
OnlineStatusChangedHandler onlineStatusChangedHandler_;
