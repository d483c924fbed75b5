// The add-in's ids, file names and folders. The commands for its info file are in Commands.cpp.
#pragma once

#include <string>

#include "substitute/api/Host.h"

namespace substitute {

// The palette to which commands without an id apply.
inline constexpr const char* learningPalette = "teachPalete";

// The control to which the command `click` without an id applies.
inline constexpr const char* learningButton = "runTeachPalette";

// The help for these commands.
inline constexpr const char* clickHelp =
    "press the button (runTeachPalette): create and execute its command";
inline constexpr const char* hideHelp = "the user hides the palette (teachPalete)";
inline constexpr const char* showHelp = "the user shows the palette (teachPalete)";

// The built library's file name.
inline constexpr const char* libraryName = VELORIN_LIBRARY_NAME;

// The entitlement text of a host unless an option sets another.
inline constexpr const char* exampleEntitlement = "VELORIN-EXAMPLE 2026";

// The values at the start of a host that is installed in `directory`.
Settings settingsIn(const std::string& directory);

// The add-in's folder in the installation in `directory`.
std::string addinFolderIn(const std::string& directory);

// The path of the add-in's info file, by the executable that `host` reports.
std::string infoFileOf(const Host& host);

// The second line of an info file, which counts the starts; empty when there is none.
std::string startCountIn(const std::string& infoFile);

// Why the info file may not be in the add-in's folder: the add-in has a buffer of fixed size for
// the path, and truncates the path at the first "Autodesk".
inline constexpr const char* whyFolderIsNotFound =
    "the path is too long, or holds the word Autodesk";

}  // namespace substitute
