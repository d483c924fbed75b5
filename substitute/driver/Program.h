// The executable of the running program.
#pragma once

#include <string>

namespace substitute {

// The path of the running program, with links resolved.
std::string programFile();

}  // namespace substitute
