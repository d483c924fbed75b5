// Numbers that mean the same on both systems: errors, signals, flags.
//
// macOS has those of BSD, Linux its own. Each kind is one table of pairs, in which either number is
// found by the other.
#pragma once

#include <cstddef>
#include <string>

#include "System.h"

namespace emulation {

struct Pair {
  int mac;
  int linux;
};

// The number in the same pair; `other` for one that is in none.
template <std::size_t Size>
int numberToLinux(const Pair (&pairs)[Size], int number, int other) {
  for (const Pair& pair : pairs) {
    if (pair.mac == number) return pair.linux;
  }
  return other;
}

template <std::size_t Size>
int numberToMac(const Pair (&pairs)[Size], int number, int other) {
  for (const Pair& pair : pairs) {
    if (pair.linux == number) return pair.mac;
  }
  return other;
}

// The same flags. One that is in no pair ends the process with the function's name.
template <std::size_t Size>
int flagsToLinux(const Pair (&pairs)[Size], int flags, const char* function) {
  int converted = 0;
  int left = flags;
  for (const Pair& pair : pairs) {
    if ((flags & pair.mac) != 0) converted |= pair.linux;
    left &= ~pair.mac;
  }
  if (left != 0) {
    endProcess("the flag " + std::to_string(left) + " of " + function + " is not supported");
  }
  return converted;
}

// The same flags. Those that are in no pair are left out: macOS has none like them.
template <std::size_t Size>
int flagsToMac(const Pair (&pairs)[Size], int flags) {
  int converted = 0;
  for (const Pair& pair : pairs) {
    if ((flags & pair.linux) == pair.linux) converted |= pair.mac;
  }
  return converted;
}

// The functions that take a signal and those that tell a status convert its number.
int signalToMac(int number);
int signalToLinux(int number);

}  // namespace emulation
