#include "substitute/driver/OpenRecorder.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "substitute/driver/Text.h"

namespace fs = std::filesystem;

namespace substitute {

namespace {

// Appends the number of arguments and each argument to a file. Each ends with a zero byte, which no
// argument can contain. An empty file, for which a full disk has room, says that this failed.
constexpr const char* script =
    "#!/bin/sh\nprintf '%s\\0' \"$#\" \"$@\" >>\"$0.runs\" || : >\"$0.failed\"\n";

// The file to which the shell writes its errors; null when there is no recorder.
const std::string* shellErrors = nullptr;

// The content of a file from `at` on; `at` is advanced to its end.
std::string readFrom(const std::string& path, std::size_t& at) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(at));
  std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  at += bytes.size();
  return bytes;
}

// The error in a line of the shell, such as "sh: 2: Syntax error"; empty for a line of another
// program.
std::string shellErrorIn(const std::string& line) {
  static const std::regex own("^(?:/bin/)?sh: (?:-c: )?(?:line )?[0-9]+: (.*)$");
  std::smatch found;
  return std::regex_match(line, found, own) ? found[1].str() : "";
}

}  // namespace

#ifdef __ELF__
// Replaces the system's function for all libraries, since the loader looks in the program first. It
// is weak, so a program may bring its own. The shell reads line by line, so it redirects its errors
// before it parses the command.
extern "C" __attribute__((weak)) int system(const char* command) {
  static const auto real = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"));
  // The length of an argument is limited by the system: a long command is passed on unchanged.
  constexpr std::size_t longest = 0x10000;
  if (shellErrors == nullptr || command == nullptr || std::strlen(command) > longest) {
    return real(command);
  }
  return real(("exec 2>>'" + *shellErrors + "'\n" + command).c_str());
}
#endif

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
  if (directory.find('\'') == std::string::npos) {
    errors_ = directory + "/errors";
    shellErrors = &errors_;
  }
  const char* const path = std::getenv("PATH");
  oldPath_ = path == nullptr ? "/usr/bin:/bin" : path;
  setenv("PATH", (directory + ":" + oldPath_).c_str(), 1);
  callReturned_ = host.callReturned.subscribe([this, &host] {
    for (const auto& arguments : collect()) {
      host.interceptor().trace.publish({{"event", "open"}, {"args", arguments}});
    }
    reportErrors();
  });
}

OpenRecorder::~OpenRecorder() {
  shellErrors = nullptr;
  reportErrors();
  setenv("PATH", oldPath_.c_str(), 1);
}

void OpenRecorder::reportErrors() {
  std::istringstream lines(readFrom(errors_, readErrors_));
  for (std::string line; std::getline(lines, line);) {
    const std::string error = shellErrorIn(line);
    if (error.empty()) {
      std::cerr << printable(line) << '\n';
    } else {
      shellFailed.publish(error);
    }
  }
}

void OpenRecorder::checkRecorded() const {
  if (!hasFailed()) return;
  throw std::runtime_error("a run of open could not be recorded in " + folder_.path() +
                           "; let TMPDIR name a folder on another disk");
}

std::vector<std::vector<std::string>> OpenRecorder::collect() {
  if (hasFailed()) return {};
  std::size_t end = read_;
  std::istringstream strings(readFrom(folder_.path() + "/open.runs", end));
  std::vector<std::vector<std::string>> runs;
  // A run in the background may still be writing. The next call collects it.
  for (std::string count; std::getline(strings, count, '\0') && !strings.eof();) {
    std::vector<std::string> arguments(std::stoul(count));
    for (std::string& argument : arguments) std::getline(strings, argument, '\0');
    if (strings.eof() || !strings) break;
    read_ = end - strings.str().size() + static_cast<std::size_t>(strings.tellg());
    runs.push_back(std::move(arguments));
  }
  return runs;
}

}  // namespace substitute
