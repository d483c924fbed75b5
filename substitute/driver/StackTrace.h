// The stack of the process in words, for a signal's handler.
#pragma once

namespace substitute {

// Writes `string` to standard error, also from a signal's handler.
void writeToStandardError(const char* string);

// Makes writeStackTrace() ready, with memory for handlers that run when the stack is used up.
void prepareStackTrace();

// Writes the stack to standard error, a line for each function, innermost first; for use by a
// signal's handler itself, which is left out with what called it. As macOS code there is no stack:
// that system writes a report with one.
void writeStackTrace();

}  // namespace substitute
