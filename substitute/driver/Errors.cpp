#include "substitute/driver/Errors.h"

#include <exception>
#include <iostream>

#include "substitute/driver/AddIn.h"
#include "substitute/driver/Text.h"

namespace substitute {

void printError(const std::string& program, const std::string& sentence) {
  std::cerr << program << ": " << printable(sentence) << (sentence.back() == '.' ? "\n" : ".\n");
}

FatalError currentError() {
  try {
    throw;
  } catch (const LoadError& error) {
    return {exit_status::cannotLoad, error.what() + std::string("; see --addin")};
  } catch (const UsageError& error) {
    return {exit_status::wrongInput, error.what() + ("; see " + error.option())};
  } catch (const std::exception& error) {
    return {exit_status::wrongInput, error.what()};
  }
}

int printException(const std::string& program) {
  const FatalError error = currentError();
  printError(program, error.sentence);
  return error.status;
}

void flushOutput() {
  if (!std::cout.flush()) throw std::runtime_error("the output could not be written in full");
}

}  // namespace substitute
