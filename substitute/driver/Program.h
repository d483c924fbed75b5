// The running program: where it lies, and where its user keeps files.
#pragma once

#include <string>

namespace substitute {

// The path of a file in the running program's folder, where the built library and the scenarios
// are. Links to the program are resolved.
std::string besideProgram(const std::string& name);

// The substitute host's folder in the user's directory that the environment's `variable` names, or,
// where it is not set, in `belowHome` in HOME. Empty when neither is set. The folder need not
// exist.
std::string userFolder(const char* variable, const std::string& belowHome);

}  // namespace substitute
