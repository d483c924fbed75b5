// The two functions that the host finds by name in the library.
#pragma once

extern "C" {

// Starts the add-in. The host calls it once after it has loaded the library. `context` is not read.
// Returns true when the learning button is registered and its handler connected. Returns false at
// the first step that fails: there is no application, user interface, online-status event or
// toolbar "QATRight", or the host refuses the definition, the control, the command-created event or
// the handler. Earlier steps are not undone, and the user sees no message. The host's other objects
// are used untested: if one is missing, the empty handle fails. Exceptions of the host pass
// through.
bool run(const char* context);

// Removes the add-in's palette, commands and controls from the host and empties `ui`. The host
// calls it once before it unloads the library. `context` is not read. Returns false when the host
// has no palettes or no toolbar "QATRight", else true: also when nothing was started, and when the
// host refused to delete something. The handlers stay registered; they end with the library. The
// host's other objects are used untested, and its exceptions pass through, as in run.
bool stop(const char* context);
}
