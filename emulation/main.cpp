// macos-loader PROGRAM [ARGUMENTS]: runs a program for macOS arm64 on Linux arm64.
#include <cstdio>

#include "Loader.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("macos-loader: name the program to run.\n", stderr);
    return 1;
  }
  try {
    return emulation::runProgram(argv[1], {argc - 1, argv + 1});
  } catch (const emulation::LoadError& error) {
    std::fprintf(stderr, "macos-loader: %s.\n", error.what());
    return 1;
  }
}
