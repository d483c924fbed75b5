#include "substitute/driver/Program.h"

#include <filesystem>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace substitute {

std::string programFile() {
#ifdef __APPLE__
  return std::filesystem::canonical(_dyld_get_image_name(0)).string();
#else
  return std::filesystem::read_symlink("/proc/self/exe").string();
#endif
}

}  // namespace substitute
