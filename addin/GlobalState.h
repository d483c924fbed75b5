// All that the add-in keeps between two calls of the host. Every object here lives from the
// library's load to its unload and is touched on the host's thread only.
#pragma once

#include <Core/CoreAll.h>

#include <cstdint>

class RovaHTMLEventHandler;
class CadFirst3sHTMLEventHandler;
class CmdExecuteEventHandler;
class CmdEshopExecuteEventHandler;
class CmdCreatedEventHandler;
class CmdEshopCreatedEventHandler;
class OnlineStatusChangedHandler;

// The host application; empty before run.
extern adsk::core::Ptr<adsk::core::Application> app;

// The host's user interface; empty before run and after stop.
extern adsk::core::Ptr<adsk::core::UserInterface> ui;

// The learning palette as it was last looked up or created. Empty before that, and after a refused
// creation.
extern adsk::core::Ptr<adsk::core::Palette> palette;

// The start counter that AutoOpenPalette returned to run; 0 before. Nothing else changes it.
extern std::int32_t countOpenPalette;

// The palette opens by itself at the first four starts: while countOpenPalette is 0 to 3.
constexpr std::int32_t lastAutoOpenCount = 3;

// The handlers. The host is given their addresses and keeps them until the library is unloaded.
extern RovaHTMLEventHandler _onHTMLEvent;
extern CadFirst3sHTMLEventHandler _onHTMLEventFirst3;
extern CmdExecuteEventHandler _cmdExecute;
extern CmdEshopExecuteEventHandler _cmdEshopExecute;
extern CmdCreatedEventHandler _cmdCreated;
extern CmdEshopCreatedEventHandler _cmdEshopCreated;  // not connected: the e-shop is dormant
extern OnlineStatusChangedHandler onlineStatusChangedHandler_;
