// The learning palette: the host's palette "teachPalete" with the learning page in it.
#pragma once

#include <Core/CoreAll.h>

#include <string>

// Shows the palette, creating it with _onHTMLEvent as its message handler where there is none.
// True when it was asked to be visible. False when the host has no application, user interface,
// palettes or page event, or refuses the palette or the handler; what was done by then stays done.
// Called between run and stop: `app` and the host's preferences are used untested.
bool OpenPalette();

// The address of the learning page, for the host's present language and entitlement text.
// Asks the host through `app`, which must not be empty, on every call. The entitlement text is
// taken as it is, nothing is escaped.
std::string learningPageAddress();

// Shows the palette in `palettes`, or creates it there on `address` with `handler` for its page's
// messages, and keeps it in `palette`. A palette that exists keeps its page and its handler. The
// result is that of OpenPalette.
bool showPalette(const adsk::core::Ptr<adsk::core::Palettes>& palettes, const std::string& address,
                 adsk::core::HTMLEventHandler* handler);
