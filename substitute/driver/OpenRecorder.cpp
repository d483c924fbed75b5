#include "substitute/driver/OpenRecorder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace substitute {

namespace {

// Appends the number of arguments and each argument to a file. Each ends with a zero byte, which no
// argument can contain. An empty file, for which a full disk has room, says that this failed.
constexpr const char* script =
    "#!/bin/sh\nprintf '%s\\0' \"$#\" \"$@\" >>\"$0.runs\" || : >\"$0.failed\"\n";

}  // namespace

OpenRecorder::OpenRecorder(Host& host) {
  const std::string& directory = folder_.path();
  const std::string command = directory + "/open";
  std::ofstream(command) << script;
  chmod(command.c_str(), S_IRWXU);
  // Otherwise the shell would skip this command and run the system's.
  if (access(command.c_str(), X_OK) != 0 || directory.find(':') != std::string::npos) {
    throw std::runtime_error("no command can be put on PATH in " +
                             fs::path(directory).parent_path().string() +
                             "; let TMPDIR name another folder");
  }
  const char* const path = std::getenv("PATH");
  oldPath_ = path == nullptr ? "/usr/bin:/bin" : path;
  setenv("PATH", (directory + ":" + oldPath_).c_str(), 1);
  callReturned_ = host.callReturned.subscribe([this, &host] {
    for (const auto& arguments : collect()) {
      host.interceptor().trace.publish({{"event", "open"}, {"args", arguments}});
    }
  });
}

OpenRecorder::~OpenRecorder() {
  setenv("PATH", oldPath_.c_str(), 1);
}

void OpenRecorder::checkRecorded() const {
  if (!hasFailed()) return;
  throw std::runtime_error("a run of open could not be recorded in " + folder_.path() +
                           "; let TMPDIR name a folder on another disk");
}

bool OpenRecorder::hasFailed() const {
  return access((folder_.path() + "/open.failed").c_str(), F_OK) == 0;
}

std::vector<std::vector<std::string>> OpenRecorder::collect() {
  if (hasFailed()) return {};
  std::ifstream file(folder_.path() + "/open.runs", std::ios::binary);
  file.seekg(static_cast<std::streamoff>(read_));
  std::vector<std::vector<std::string>> runs;
  // A run in the background may still be writing. The next call collects it.
  for (std::string count; std::getline(file, count, '\0') && !file.eof();) {
    std::vector<std::string> arguments(std::stoul(count));
    for (std::string& argument : arguments) std::getline(file, argument, '\0');
    if (file.eof() || !file) break;
    read_ = static_cast<std::size_t>(file.tellg());
    runs.push_back(std::move(arguments));
  }
  return runs;
}

}  // namespace substitute
