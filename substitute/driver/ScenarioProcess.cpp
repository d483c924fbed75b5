#include "substitute/driver/ScenarioProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "substitute/driver/CrashReport.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Program.h"

namespace substitute {

namespace {

// Captured output in a temporary file. A pipe would stay open as long as a program runs that the
// add-in has started.
class Output {
 public:
  Output() : file_(std::tmpfile(), &std::fclose) {
    if (!file_) {
      throw std::runtime_error("no temporary file can be made: " +
                               std::generic_category().message(errno));
    }
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

// The environment variable with the descriptor to which the outcome is written.
constexpr const char* endVariable = "SUBSTITUTE_HOST_END";

// A failure is ignored: the parent process then finds no outcome.
void writeEnd(int descriptor, const ScenarioEnd& end) {
  const std::string bytes = static_cast<char>(end.status) + end.reason;
  static_cast<void>(!write(descriptor, bytes.data(), bytes.size()));
}

}  // namespace

std::string ScenarioResult::reason() const {
  if (WIFSIGNALED(status)) return "ended by " + signalName(WTERMSIG(status));
  const std::string exitStatus = "exit status " + std::to_string(WEXITSTATUS(status));
  if (WEXITSTATUS(status) == exit_status::timedOut) {
    return exitStatus + ": a call of the add-in took longer than --timeout";
  }
  if (!end) return "the add-in ended the process";
  if (end->status == exit_status::failed) return end->reason;
  return end->reason.empty() ? exitStatus : exitStatus + ": " + end->reason;
}

ScenarioResult playInProcess(const std::string& name, const std::function<ScenarioEnd()>& play) {
  const Output output;
  const Output errors;
  // It stays empty when the add-in ends the process, whatever the exit status is.
  const Output end;
  std::cout.flush();
  const auto begin = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("no process can be made: " + std::generic_category().message(errno));
  }
  if (child == 0) {
    dup2(output.descriptor(), STDOUT_FILENO);
    dup2(errors.descriptor(), STDERR_FILENO);
    if (startsThroughLink) setenv(endVariable, std::to_string(end.descriptor()).c_str(), 1);
    const ScenarioEnd played = play();
    writeEnd(end.descriptor(), played);
    std::exit(played.status);
  }
  ScenarioResult result;
  result.name = name;
  while (waitpid(child, &result.status, 0) < 0 && errno == EINTR) {
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  result.seconds = took.count();
  result.output = output.read();
  result.errors = errors.read();
  const std::string ended = end.read();
  if (!ended.empty()) result.end = ScenarioEnd{ended[0], ended.substr(1)};
  return result;
}

void passOnEnd([[maybe_unused]] const ScenarioEnd& end) {
  if constexpr (startsThroughLink) {
    const char* const descriptor = std::getenv(endVariable);
    if (descriptor != nullptr) writeEnd(std::atoi(descriptor), end);
  }
}

}  // namespace substitute
