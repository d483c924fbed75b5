#include "substitute/driver/ScenarioProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <system_error>

#include "substitute/driver/ExitStatus.h"

namespace substitute {

namespace {

// A file without a name: a pipe would stay open for as long as a program lives that the add-in
// started.
class Output {
 public:
  Output() : file_(std::tmpfile(), &std::fclose) {
    if (!file_) throw std::system_error(errno, std::generic_category(), "a temporary file");
  }

  int descriptor() const { return fileno(file_.get()); }

  std::string read() const {
    std::string bytes;
    std::rewind(file_.get());
    for (int byte = std::fgetc(file_.get()); byte != EOF; byte = std::fgetc(file_.get())) {
      bytes += static_cast<char>(byte);
    }
    return bytes;
  }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

}  // namespace

std::string ScenarioResult::reason() const {
  if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  switch (WEXITSTATUS(status)) {
    case exit_status::cannotLoad:
      return "the library cannot be loaded";
    case exit_status::failed:
      return "something was not as expected";
    case exit_status::timedOut:
      return "a call of the add-in took too long";
    default:
      return "exit status " + std::to_string(WEXITSTATUS(status));
  }
}

ScenarioResult playInProcess(const std::string& name, const std::function<int()>& play) {
  const Output output;
  const Output errors;
  std::cout.flush();
  const auto begin = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "a new process");
  if (child == 0) {
    dup2(output.descriptor(), STDOUT_FILENO);
    dup2(errors.descriptor(), STDERR_FILENO);
    std::exit(play());
  }
  ScenarioResult result;
  result.name = name;
  while (waitpid(child, &result.status, 0) < 0 && errno == EINTR) {
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  result.seconds = took.count();
  result.output = output.read();
  result.errors = errors.read();
  return result;
}

}  // namespace substitute
