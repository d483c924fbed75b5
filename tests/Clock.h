// The clock that the add-in reads, which a test can set.
#pragma once

#include <ctime>
#include <optional>

// What `time` tells in this program and in the library that it loads; nothing: the system's time.
// On macOS the library calls the system's `time`: setting the clock has no effect there.
extern std::optional<std::time_t> setClock;

// In Greenwich.
constexpr std::time_t noonOf5March2026 = 1772712000;
