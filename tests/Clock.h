// The clock that the add-in reads, in the hands of the test program.
#pragma once

#include <ctime>
#include <optional>

// What `time` tells in this program and in the library that it loads; nothing: the system's time.
extern std::optional<std::time_t> setClock;
