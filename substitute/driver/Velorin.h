// All that the driver knows of this add-in. The rest of the driver works for any add-in.
#pragma once

#include <string>

#include "substitute/api/Host.h"

namespace substitute {

// The palette whose page sends messages, and which the user hides, shows and closes.
inline constexpr const char* learningPalette = "teachPalete";

// The control of the button that the user presses.
inline constexpr const char* learningButton = "runTeachPalette";

// What these commands do, for the help.
inline constexpr const char* clickHelp =
    "press the button (runTeachPalette): create and execute its command";
inline constexpr const char* hideHelp = "the user hides the palette (teachPalete)";
inline constexpr const char* showHelp = "the user shows the palette (teachPalete)";

// The built library's file name.
inline constexpr const char* libraryName = VELORIN_LIBRARY_NAME;

// What a host says when it is asked for its entitlement.
inline constexpr const char* exampleEntitlement = "VELORIN-EXAMPLE 2026";

// The values of a host that is installed in `directory`.
Settings settingsIn(const std::string& directory);

// The add-in's folder in the installation in `directory`.
std::string addinFolderIn(const std::string& directory);

// Where the add-in keeps its info file when `host` reports its executable.
std::string infoFileOf(const Host& host);

// The second line of an info file, which counts the starts; empty when there is none.
std::string startCountIn(const std::string& infoFile);

// Why the info file is not in the add-in's folder, where it is not: the add-in has room for a path
// of some length alone, and cuts it at the first "Autodesk".
inline constexpr const char* whyFolderIsNotFound =
    "the path is too long, or holds the word Autodesk";

}  // namespace substitute
