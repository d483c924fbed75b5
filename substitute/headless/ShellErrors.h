// What the shell says of a command that the add-in has it run, told as such in the report.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

// While it exists, the errors of the shell itself, such as "Syntax error: Unterminated quoted
// string", are reported when a call of the add-in has returned; those of other programs go to
// standard error then. In a build for macOS all go there at once. There is at most one.
class ShellErrors {
 public:
  // `runner` reports them, and outlives this. Throws std::runtime_error.
  explicit ShellErrors(ScenarioRunner& runner);
  ~ShellErrors();
  ShellErrors(const ShellErrors&) = delete;
  ShellErrors& operator=(const ShellErrors&) = delete;

 private:
  void report();

  ScenarioRunner& runner_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  std::size_t read_ = 0;  // how much of the file was reported
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
