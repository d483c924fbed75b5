// Loads programs and libraries, and unloads them.
//
// On a Mac dyld loads a program with all the libraries that it lists, and those that these list. It
// binds them, runs the initialisers of each after those of the libraries that it needs, and calls
// main. A name belongs to the library that its user lists for it; weak definitions alone are shared
// by all. Later dlopen does the same for a library, and dlclose unloads it when nobody uses it any
// more. Here that is done alike, with two differences. A library is looked for by the last part of
// its name, wherever it lies on a Mac: in the folders that DYLD_LIBRARY_PATH lists, then beside the
// program. And libSystem is no file: System.h supplies its names.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Image.h"

namespace emulation {

// A program or library that is loaded.
struct Library {
  // Throws as Image does.
  explicit Library(const std::string& path) : image(path) {}

  Image image;
  // Those that the file lists, in its order. Null stands for libSystem.
  std::vector<Library*> libraries;
  // How often it was opened, and how many others use it.
  int users = 0;
  bool initialized = false;
};

// What the program was started with.
struct Arguments {
  int count;
  char** values;
};

// Loads the program and what it needs, and runs it. Returns what its main returns; throws LoadError
// before anything of it has run.
int runProgram(const std::string& path, const Arguments& given);

extern Arguments programArguments;

// In the order of loading: the program comes first.
const std::vector<std::unique_ptr<Library>>& loadedLibraries();

// What is loaded from that file, and what lies at that address; null when nothing does.
Library* findByFile(const std::string& path);
Library* findByAddress(const void* address);

// Loads the library and what it needs, runs their initialisers and counts the caller as user.
// Throws LoadError, and then it is not loaded.
Library* load(const std::string& path);

// Counts one user less; the last one's release unloads the library.
void release(Library& library);

// Finds a name, with the underscore of C, in a library; null when it does not export it.
void* findIn(const Library& library, const std::string& name);

// Calls what is to be called at the end of the library with this header, or at the end of all when
// it is null; the last that was registered first.
void runAtExit(const void* header);

}  // namespace emulation
