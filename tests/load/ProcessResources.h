// What a process holds of its system.
#pragma once

#include <cstddef>
#include <ostream>

#if defined(__APPLE__)
#include <fcntl.h>
#include <mach-o/dyld.h>
#include <malloc/malloc.h>
#else
#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#endif

struct ProcessResources {
  std::size_t heap = 0;      // bytes in use
  std::size_t resident = 0;  // bytes; not told on macOS
  std::size_t files = 0;     // on macOS of the first 256
  std::size_t threads = 0;   // not told on macOS
  std::size_t mappings = 0;  // of files and memory; on macOS the libraries alone
};

#if defined(__APPLE__)
inline ProcessResources processResources() {
  ProcessResources now;
  malloc_statistics_t heap = {};
  malloc_zone_statistics(nullptr, &heap);
  now.heap = heap.size_in_use;
  for (int file = 0; file < 256; ++file) {
    if (fcntl(file, F_GETFD) != -1) ++now.files;
  }
  now.mappings = _dyld_image_count();
  return now;
}
#else
inline ProcessResources processResources() {
  const auto entries = [](const char* directory) {
    const std::filesystem::directory_iterator all(directory);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  };
  ProcessResources now;
  now.files = entries("/proc/self/fd");
  now.threads = entries("/proc/self/task");
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) ++now.mappings;
  std::size_t total = 0;
  std::ifstream("/proc/self/statm") >> total >> now.resident;
  now.resident *= static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  now.heap = mallinfo2().uordblks;
  return now;
}
#endif

inline std::ostream& operator<<(std::ostream& out, const ProcessResources& now) {
  return out << "heap " << now.heap << " bytes, resident " << now.resident << " bytes, "
             << now.files << " files, " << now.threads << " threads, " << now.mappings
             << " mappings";
}
