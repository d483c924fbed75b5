// The running program as the system knows it.
#pragma once

#include <string>
#include <vector>

namespace substitute {

// True where the system itself tells the add-in which executable runs, so that the host cannot
// report another: on a Mac.
#ifdef SUBSTITUTE_STARTS_THROUGH_LINK
constexpr bool startsThroughLink = true;
#else
constexpr bool startsThroughLink = false;
#endif

// The file of the running program, links followed.
std::string programFile();

// Only where startsThroughLink. Makes a link to the program at `path`, with its folders, and
// replaces the process: the same program with the same arguments, started through the link. In the
// process that was started so, returns the path that the system reports; it may name the same
// folder in another way. Throws std::runtime_error, with one sentence, on failure.
std::string restartThroughLink(const std::string& path, std::vector<std::string> arguments);

}  // namespace substitute
