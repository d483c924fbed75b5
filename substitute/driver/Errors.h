// The errors that end a program or refuse a line, and how they are reported.
#pragma once

#include <stdexcept>
#include <string>

namespace substitute {

// The exit statuses of the programs besides 0.
namespace exit_status {
inline constexpr int cannotLoad = 1;
inline constexpr int wrongInput = 2;
inline constexpr int failed = 3;
inline constexpr int timedOut = 4;
}  // namespace exit_status

// What the user asked for is refused or cannot be done: an option, a line, a file. what() says so
// in one sentence, without its full stop.
class UsageError : public std::runtime_error {
 public:
  // `option` is the one that helps, such as --list-scenarios.
  explicit UsageError(const std::string& sentence, std::string option = "--help")
      : std::runtime_error(sentence), option_(std::move(option)) {}

  const std::string& option() const { return option_; }

 private:
  std::string option_;
};

// A library that cannot be loaded, or has no `run` or `stop`; what() says so in one sentence.
class LoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Prints a sentence on standard error, after the program's name. Adds the full stop if missing.
void printError(const std::string& program, const std::string& sentence);

// An error that ends the program.
struct FatalError {
  int status;            // the exit status
  std::string sentence;  // without its full stop; names the option that helps
};

// Prints the exception that is being handled to standard error.
FatalError printException(const std::string& program);

// Throws std::runtime_error when standard output could not be written.
void flushOutput();

}  // namespace substitute
