#include "substitute/driver/OpenRecorder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace substitute {

namespace {

// Writes the number of arguments, then each argument, each ended by a zero byte, which no argument
// can hold.
constexpr const char* script = "#!/bin/sh\nprintf '%s\\0' \"$#\" \"$@\" >>\"$0.runs\"\n";

// The string that begins at `at` in `bytes`; `at` becomes the place after its end. Nothing when the
// end is missing.
std::optional<std::string> nextString(const std::string& bytes, std::size_t& at) {
  const auto end = bytes.find('\0', at);
  if (end == std::string::npos) return {};
  std::string string = bytes.substr(at, end - at);
  at = end + 1;
  return string;
}

const std::string prefix = "velorin-open-";

// Removes the folders of processes that ended without their destructors.
void removeLeftOvers(const fs::path& place) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(place, ignored)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(prefix, 0) != 0) continue;
    const pid_t owner = std::atoi(name.c_str() + prefix.size());
    if (owner > 0 && kill(owner, 0) != 0 && errno == ESRCH) fs::remove_all(entry, ignored);
  }
}

}  // namespace

OpenRecorder::OpenRecorder(Host& host) {
  std::error_code error;
  const fs::path place = fs::temp_directory_path(error);
  if (error) throw std::runtime_error("TMPDIR names no folder");
  removeLeftOvers(place);
  directory_ = (place / (prefix + std::to_string(getpid()) + "-XXXXXX")).string();
  if (mkdtemp(directory_.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), directory_);
  }
  const std::string command = directory_ + "/open";
  std::ofstream(command) << script;
  chmod(command.c_str(), S_IRWXU);
  // Otherwise the shell would pass over this command and run the system's.
  if (access(command.c_str(), X_OK) != 0 || directory_.find(':') != std::string::npos) {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
    throw std::runtime_error("no command can be put on PATH in " + place.string() +
                             "; let TMPDIR name another folder");
  }
  const char* const path = std::getenv("PATH");
  oldPath_ = path == nullptr ? "/usr/bin:/bin" : path;
  setenv("PATH", (directory_ + ":" + oldPath_).c_str(), 1);
  callReturned_ = host.callReturned.subscribe([this, &host] {
    for (const auto& arguments : collect()) {
      host.interceptor().trace.publish({{"event", "open"}, {"args", arguments}});
    }
  });
}

OpenRecorder::~OpenRecorder() {
  setenv("PATH", oldPath_.c_str(), 1);
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

std::vector<std::vector<std::string>> OpenRecorder::collect() {
  std::ifstream file(directory_ + "/open.runs", std::ios::binary);
  file.seekg(static_cast<std::streamoff>(read_));
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::vector<std::vector<std::string>> runs;
  std::size_t at = 0;
  std::size_t complete = 0;
  while (const auto count = nextString(bytes, at)) {
    std::vector<std::string> arguments(std::stoul(*count));
    for (std::string& argument : arguments) {
      const auto string = nextString(bytes, at);
      // A run in the background is still writing; the next call reads it.
      if (!string) {
        read_ += complete;
        return runs;
      }
      argument = *string;
    }
    runs.push_back(std::move(arguments));
    complete = at;
  }
  read_ += complete;
  return runs;
}

}  // namespace substitute
