#pragma once

#include <string>

namespace emulation {

// Loads the program and what it needs, and runs it with these arguments, of which the first is its
// name. Returns what its main returns; throws LoadError before anything of it has run.
int runProgram(const std::string& path, int count, char** arguments, char** environment);

// The absolute path of the program that runs.
const std::string& programPath();

}  // namespace emulation
