#include "substitute/driver/Program.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#ifdef __APPLE__
#include <mach-o/dyld.h>

#include <cstdint>
#else
#include <sys/auxv.h>
#endif

namespace fs = std::filesystem;

namespace substitute {

std::string programFile() {
#ifdef __APPLE__
  return fs::canonical(_dyld_get_image_name(0)).string();
#else
  return fs::read_symlink("/proc/self/exe").string();
#endif
}

#ifdef SUBSTITUTE_STARTS_THROUGH_LINK

namespace {

// The path by which the running program was started, with links not resolved.
std::string startedAs() {
#ifdef __APPLE__
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::string path(size, '\0');
  _NSGetExecutablePath(path.data(), &size);
  return path.c_str();
#else
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the system hands all its values over as numbers
  return reinterpret_cast<const char*>(getauxval(AT_EXECFN));
#endif
}

}  // namespace

std::string restartThroughLink(const std::string& path, std::vector<std::string> arguments) {
  std::error_code error;
  const fs::path folder = fs::absolute(path).parent_path();
  const fs::path started = startedAs();
  if (started.filename() == fs::path(path).filename() &&
      fs::equivalent(started.parent_path(), folder, error)) {
    return started.string();
  }
  const std::string program = programFile();
  error.clear();
  fs::create_directories(folder, error);
  // Only a link is replaced: another file there may be a real host.
  const std::string link = folder / fs::path(path).filename();
  if (!error && fs::is_symlink(link)) fs::remove(link, error);
  if (!error) fs::create_symlink(program, link, error);
  if (error) {
    throw std::runtime_error("the link " + link +
                             " to the host cannot be made: " + error.message());
  }
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  execv(link.c_str(), words.data());
  throw std::runtime_error("the host cannot be started as " + link + ": " +
                           std::generic_category().message(errno));
}

#endif

}  // namespace substitute
