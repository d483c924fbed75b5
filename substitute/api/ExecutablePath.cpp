// The system function by which an add-in asks for the path of the running executable. macOS has it;
// the host answers in its place with the path that its settings name.
#include <cstdint>
#include <cstring>

#include "substitute/api/Host.h"

// As the system's: 0, or -1 with the size that the path needs, `path` left alone.
extern "C" SUBSTITUTE_API int _NSGetExecutablePath(char* path, std::uint32_t* size) {
  const substitute::Host* const host = substitute::Host::current();
  if (host == nullptr) return -1;
  const std::string& executable = host->settings().executable;
  const auto needed = static_cast<std::uint32_t>(executable.size() + 1);
  if (needed > *size) {
    *size = needed;
    return -1;
  }
  std::memcpy(path, executable.c_str(), needed);
  return 0;
}
