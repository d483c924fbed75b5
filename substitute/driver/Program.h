// The executable of the running program.
#pragma once

#include <string>
#include <vector>

namespace substitute {

// True on a Mac. There the add-in asks the system for the executable, so the host must really run
// under the path that it reports: through a link.
#ifdef SUBSTITUTE_STARTS_THROUGH_LINK
constexpr bool startsThroughLink = true;
#else
constexpr bool startsThroughLink = false;
#endif

// The path of the running program, with links resolved.
std::string programFile();

// Only where startsThroughLink. Creates a link to the program at `path`, with its folders, and
// calls exec() on the link with `arguments`. In the program that was started through the link,
// returns the path that the system reports; it may spell the folder differently. Throws
// std::runtime_error, with one sentence, on failure.
std::string restartThroughLink(const std::string& path, std::vector<std::string> arguments);

}  // namespace substitute
