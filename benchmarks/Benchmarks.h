// The calls that are measured: each of the add-in's beside its reference.
#pragma once

#include <functional>
#include <string>

namespace benchmarks {

// Adds the benchmark "WHAT|WHO". `prepare` makes a call ready and returns it; the call alone is
// measured. What the call holds is released after it.
void add(const std::string& what, const std::string& who,
         const std::function<std::function<void()>()>& prepare);

// Adds the operations of a handle to a host object.
void addHandles();

// Adds loading and unloading, and the moments in which the host calls the add-in.
void addMoments();

}  // namespace benchmarks
