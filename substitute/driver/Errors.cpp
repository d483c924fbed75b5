#include "substitute/driver/Errors.h"

#include <exception>
#include <iostream>

#include "substitute/driver/Text.h"

namespace substitute {

void printError(const std::string& program, const std::string& sentence) {
  std::cerr << program << ": " << printable(sentence) << (sentence.back() == '.' ? "\n" : ".\n");
}

FatalError printException(const std::string& program) {
  FatalError fatal = {exit_status::wrongInput, ""};
  try {
    throw;
  } catch (const LoadError& error) {
    fatal = {exit_status::cannotLoad, error.what() + std::string("; see --addin")};
  } catch (const UsageError& error) {
    fatal.sentence = error.what() + ("; see " + error.option());
  } catch (const std::exception& error) {
    fatal.sentence = error.what();
  }
  printError(program, fatal.sentence);
  return fatal;
}

void flushOutput() {
  if (!std::cout.flush()) throw std::runtime_error("the output could not be written in full");
}

}  // namespace substitute
