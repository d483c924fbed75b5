// When a host raises its events, in which order, and with what.
#pragma once

#include <string>

namespace probe {

// Puts the probe's palette and button there and registers handlers; they ask when their events
// come. `throwFile`: when a file of that name is there, the second press of the button ends with
// an exception. True when the button is there and its handler registered.
bool askAboutEvents(const std::string& pageAddress, const std::string& throwFile);

// Writes the answers that need all that has happened. Handlers that are called later do nothing.
void endEvents();

}  // namespace probe
