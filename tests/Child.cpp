#include "tests/Child.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <system_error>

pid_t fork(const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child > 0) return child;
  try {
    work();
  } catch (const std::exception& error) {
    std::cerr << "child process: " << error.what() << std::endl;
    _exit(EXIT_FAILURE);
  }
  _exit(EXIT_SUCCESS);
}

std::optional<std::int32_t> inChild(const std::function<std::int32_t()>& work) {
  int ends[2];
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t child = fork([&] {
    const std::int32_t result = work();
    if (write(ends[1], &result, sizeof result) != sizeof result) _exit(EXIT_FAILURE);
  });
  close(ends[1]);
  std::int32_t result = 0;
  const bool complete = read(ends[0], &result, sizeof result) == sizeof result;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!complete || !WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) return {};
  return result;
}
