// Wrong use of a program: wrong options or a wrong scenario.
#pragma once

#include <stdexcept>
#include <string>

namespace substitute {

// what() says in one sentence, without its full stop, what is wrong.
class UsageError : public std::runtime_error {
 public:
  // `option` is the one that helps, such as --list-scenarios.
  explicit UsageError(const std::string& sentence, std::string option = "--help")
      : std::runtime_error(sentence), option_(std::move(option)) {}

  const std::string& option() const { return option_; }

 private:
  std::string option_;
};

}  // namespace substitute
