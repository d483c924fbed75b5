// What the program of the loader's tests and the library that it loads have in common.
#pragma once

#include <string>
#include <vector>

// Defined in both; they share one.
inline int shared = 0;

using Names = std::vector<std::string>;
// Lets the library write there what is destroyed while it is unloaded.
using SetDestroyed = void (*)(Names*);
// Throws std::out_of_range with this string.
using Throw = void (*)(const char*);
// Adds one to the variable that both share, and to one of the thread that begins with 40; returns
// the latter.
using Count = int (*)();
