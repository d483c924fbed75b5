// A library that is loaded and not used.
