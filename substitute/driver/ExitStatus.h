// The exit statuses of the programs besides 0.
#pragma once

namespace substitute::exit_status {

inline constexpr int cannotLoad = 1;
inline constexpr int wrongInput = 2;
inline constexpr int failed = 3;
inline constexpr int timedOut = 4;

}  // namespace substitute::exit_status
