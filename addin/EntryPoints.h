// The two functions that the host finds by name in the library.
#pragma once

extern "C" {

// Starts the add-in; the host calls it once after loading the library. `context` is not read. True
// when the learning button is registered and its handler connected. False as soon as the host
// returns nothing where an object is needed; what was done by then stays done, and nothing is
// shown. Exceptions of the host pass through.
bool run(const char* context);

// Takes the add-in's palette, commands and controls out of the host and empties `ui`; the host
// calls it once before unloading the library. `context` is not read. True when all that was there
// is gone, or when nothing was started; false when the host has no palettes or no toolbar to look
// into. No handler is taken off its event: the handlers end with the library.
bool stop(const char* context);
}
