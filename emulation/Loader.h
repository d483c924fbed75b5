#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Image.h"

namespace emulation {

// A program or library that is loaded.
struct Library {
  // Throws as Image does.
  explicit Library(const std::string& path);

  Image image;
  // Which file it is, under whatever path.
  dev_t device;
  ino_t inode;
  // Those that the file lists, in its order, then the unwinder. Null stands for the system library.
  std::vector<Library*> libraries;
  // Those that supply a name that all files share.
  std::vector<Library*> sharedFrom;
  // How often it was opened, and how many others use it.
  int users = 0;
  std::unique_ptr<std::uint64_t[]> threadLocals;
};

// What the program was started with.
struct Arguments {
  int count;
  char** values;
  char** environment;
};

// Loads the program and what it needs, and runs it. Returns what its main returns; throws LoadError
// before anything of it has run.
int runProgram(const std::string& path, const Arguments& arguments);

Arguments& programArguments();

// In the order of loading: the program comes first.
const std::vector<std::unique_ptr<Library>>& loadedLibraries();

// What is loaded from that file, and what lies at that address; null when nothing does.
Library* findByFile(const std::string& path);
Library* findByAddress(const void* address);

// Loads the library and what it needs, runs their initialisers and counts the caller as user.
// Throws LoadError, and then nothing is left of it.
Library* load(const std::string& path);

// Counts one user less; the last one's release unloads the library.
void release(Library& library);

// Finds a name, with the underscore of C, in everything that is loaded, or in one library and those
// that it uses; null when it is in none.
void* findInAll(const std::string& name);
void* findFrom(const Library& library, const std::string& name);

// What is called when the library with this header is unloaded or the process ends, the last first.
struct AtExit {
  void (*function)(void*);
  void* argument;
  const void* header;
};
void addAtExit(const AtExit& entry);
// Calls those of one library, or all of them when `header` is null.
void runAtExit(const void* header);

// Calls that function with the header and the slide of each library that is unloaded.
using UnloadCallback = void (*)(const void* header, std::intptr_t slide);
void addUnloadCallback(UnloadCallback callback);

// The code that the address of a variable of the thread is asked of.
extern "C" void* thread_local_address(macho::ThreadLocalVariable* variable);

}  // namespace emulation
