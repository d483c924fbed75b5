// Where the add-in keeps its data, and small helpers for files and strings. Paths are UTF-8,
// without a trailing separator.
#pragma once

#include <string>

// The directory of the running executable, which is the host's own: everything before the last
// slash or backslash. Empty for an executable in the root folder, for a path without a separator,
// and for one that does not fit into 511 bytes.
std::string GetExecutableDirectory();

// The add-in's folder for a host that runs in `path`: what stands before the first "Autodesk",
// with the fixed place of the add-in's folder appended. Nothing is set or created. A path without
// that word is taken whole.
std::string SetAddinLocation(std::string path);

// True when anything exists at `path`, readable or not; false also when a folder on the way cannot
// be searched.
bool FileExists(const std::string& path);

// `wide`, one code point a unit, in UTF-8. The add-in itself does not call it: it is exported for
// users of the library. Throws std::range_error with the message
// "wstring_convert: to_bytes error" for a unit that is no code point of UTF-8: one above U+10FFFF,
// or half of a surrogate pair.
std::string ws2s(const std::wstring& wide);
