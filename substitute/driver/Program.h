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

// Only where startsThroughLink: replaces the process by the same program with the same arguments,
// started through a link at `path`, which is made, with its folders. Returns only when the process
// was started so already: the path as the system tells it, which may name the same folder in
// another way. Throws std::runtime_error, with one sentence, when it cannot.
std::string restartThroughLink(const std::string& path, std::vector<std::string> arguments);

}  // namespace substitute
