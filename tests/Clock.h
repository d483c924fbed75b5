// The clock that the add-in reads, which a test can set.
#pragma once

#include <ctime>
#include <optional>

// What `time` tells in this program and in the library that it loads; nothing: the system's time.
extern std::optional<std::time_t> setClock;
