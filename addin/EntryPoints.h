// The two functions that the host finds by name in the library.
#pragma once

extern "C" {

// Starts the add-in; the host calls it once after loading the library. `context` is not read. True
// when the learning button is registered and its handler connected. Returns false at the first step
// that fails: no application, no user interface, no online-status event, no toolbar "QATRight"; the
// definition, the control, the command-created event or the handler refused. Earlier steps are not
// undone, and the user sees no message. The host's other objects are used untested: without one,
// the empty handle fails. Exceptions of the host pass through.
bool run(const char* context);

// Takes the add-in's palette, commands and controls out of the host and empties `ui`; the host
// calls it once before unloading the library. `context` is not read. True when the host was asked
// to delete all that was there, whatever it answered, or when nothing was started; false when it
// has no palettes or no toolbar "QATRight" to look into. No handler is taken off its event: the
// handlers end with the library. The host's other objects are used untested, and its exceptions
// pass through, as in run.
bool stop(const char* context);
}
