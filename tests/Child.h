// Runs work in a child process, so that limits and signals there do not concern the test.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>

// Forks a process that runs `work` and ends without any clean-up; its id. The caller waits for it.
// Throws std::system_error when there is no process to be had.
pid_t fork(const std::function<void()>& work);

// Runs `work` in a child process and waits for it. The result of `work`, or nothing when the child
// ended in another way.
std::optional<std::int32_t> inChild(const std::function<std::int32_t()>& work);
