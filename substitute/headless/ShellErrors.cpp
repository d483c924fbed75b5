#include "substitute/headless/ShellErrors.h"

#include <dlfcn.h>

#include <cstring>
#include <iostream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>

#include "substitute/driver/Text.h"

namespace substitute {

namespace {

int errorsFile = -1;  // to which the shell writes its errors; -1: as always

// The error in a line of the shell, such as "sh: 2: Syntax error"; empty for a line of another
// program.
std::string shellErrorIn(const std::string& line) {
  static const std::regex own("^(?:/bin/)?sh: (?:-c: )?(?:line )?[0-9]+: (.*)$");
  std::smatch found;
  return std::regex_match(line, found, own) ? found[1].str() : "";
}

}  // namespace

#ifdef __ELF__
// Takes the place of the system's function for all libraries, since the loader looks in the program
// first. The shell reads line by line, so it redirects its errors before it parses the command.
extern "C" int system(const char* command) {
  static const auto real = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"));
  // The length of an argument is limited by the system: a long command is passed on unchanged.
  constexpr std::size_t longest = 0x10000;
  if (errorsFile < 0 || command == nullptr || std::strlen(command) > longest) return real(command);
  return real(("exec 2>>/dev/fd/" + std::to_string(errorsFile) + "\n" + command).c_str());
}
#endif

ShellErrors::ShellErrors(ScenarioRunner& runner)
    : runner_(runner),
      file_(std::tmpfile(), &std::fclose),
      callReturned_(runner.host().callReturned.subscribe([this] { report(); })) {
  if (!file_) throw std::runtime_error("no temporary file can be made");
  errorsFile = fileno(file_.get());
}

ShellErrors::~ShellErrors() {
  errorsFile = -1;
  report();
}

void ShellErrors::report() {
  std::string bytes;
  std::rewind(file_.get());
  for (int byte = 0; (byte = std::fgetc(file_.get())) != EOF;) bytes += static_cast<char>(byte);
  std::istringstream lines(bytes.substr(read_));
  read_ = bytes.size();
  for (std::string line; std::getline(lines, line);) {
    const std::string error = shellErrorIn(line);
    if (error.empty()) {
      std::cerr << printable(line) << '\n';
    } else {
      runner_.reporter().report("The shell complains: " + error + ".");
    }
  }
}

}  // namespace substitute
