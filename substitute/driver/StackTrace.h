// The stack trace of the process, written by a signal handler.
#pragma once

namespace substitute {

// Writes `string` to standard error. Safe in a signal handler.
void writeToStandardError(const char* string);

// To be called once before writeStackTrace(). Also sets an alternate stack for signal handlers,
// which they need when the stack has overflowed.
void prepareStackTrace();

// Writes the stack to standard error, a line for each function, innermost first. To be called by
// the signal handler itself: the handler and its caller are left out. In a build for macOS it
// writes nothing, since that system writes a report with the stack.
void writeStackTrace();

}  // namespace substitute
