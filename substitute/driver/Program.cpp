#include "substitute/driver/Program.h"

#include <cstdlib>
#include <filesystem>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace fs = std::filesystem;

namespace substitute {

std::string besideProgram(const std::string& name) {
#ifdef __APPLE__
  const fs::path program = fs::canonical(_dyld_get_image_name(0));
#else
  const fs::path program = fs::read_symlink("/proc/self/exe");
#endif
  return (program.parent_path() / name).string();
}

std::string userFolder(const char* variable, const std::string& belowHome) {
  const char* const directory = std::getenv(variable);
  const char* const home = std::getenv("HOME");
  const std::string name = "/velorin-substitute-host";
  if (directory != nullptr && *directory != '\0') return directory + name;
  if (home != nullptr && *home != '\0') return std::string(home) + "/" + belowHome + name;
  return "";
}

}  // namespace substitute
