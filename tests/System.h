// What the tests see of the system that they run on.
#pragma once

#if defined(__APPLE__)
// How an empty handle's assertion reads, as a pattern.
constexpr const char* emptyHandleAssertion =
    "Assertion failed: \\(ptr_ != nullptr\\), function operator->, file Memory, line 150\\.";
#else
constexpr const char* emptyHandleAssertion =
    "Memory:150: operator->: Assertion `ptr_ != nullptr' failed";
#endif
