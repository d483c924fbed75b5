// What the substitute host knows of Velorin, for its profile, for the window and for tests.
#pragma once

#include <string>

#include "substitute/api/Host.h"

namespace substitute {

inline constexpr const char* learningPalette = "teachPalete";
inline constexpr const char* learningButton = "runTeachPalette";

// The add-in's folder in the installation in `directory`.
std::string addinFolderIn(const std::string& directory);

// The path of the add-in's info file, by the executable that `host` reports.
std::string infoFileOf(const Host& host);

// The second line of an info file, which counts the starts; empty when there is none.
std::string startCountIn(const std::string& infoFile);

}  // namespace substitute
