// A process that is killed at each system call of the info file's update, in turn.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/AddInFixture.h"
#include "tests/Child.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* day = "16.11.2026\n";

class UpdateInterrupted : public AddInFixture {
 protected:
  // How the file stood on the way into a system call; last, how the update left it.
  struct Moment {
    std::uint64_t systemCall = 0;
    std::optional<std::string> file;  // nothing: there is none
  };

  UpdateInterrupted() { load(); }

  // One update that begins with `before`.
  std::vector<Moment> watch(const std::optional<std::string>& before) {
    prepare(before);
    std::vector<Moment> moments;
    follow([&](std::uint64_t systemCall) {
      moments.push_back({systemCall, file()});
      return true;
    });
    moments.push_back({0, file()});
    return moments;
  }

  // Kills one update after the other, each beginning with `before` and coming one system call
  // further, until one comes to its end. How the file stood after each.
  std::vector<Moment> kill(const std::optional<std::string>& before) {
    std::vector<Moment> moments;
    for (bool killed = true; killed;) {
      prepare(before);
      Moment moment;
      std::size_t entered = 0;
      killed = !follow([&](std::uint64_t systemCall) {
        moment.systemCall = systemCall;
        return ++entered <= moments.size();
      });
      moment.file = file();
      moments.push_back(moment);
    }
    return moments;
  }

  void expectNextStart(const Moment& moment, std::int32_t result) {
    prepare(moment.file);
    EXPECT_EQ(AutoOpenPalette(), result) << "killed before system call " << moment.systemCall;
  }

 private:
  void prepare(const std::optional<std::string>& content) {
    fs::remove(infoFile);
    if (content) writeFile(infoFile, *content);
  }

  std::optional<std::string> file() {
    if (!fs::exists(infoFile)) return {};
    return readFile(infoFile);
  }

  // Runs an update in a process of its own. `onEntry` is called on the way into each system call,
  // with its number; when it says no, the process is killed there. True when the update came to its
  // end.
  bool follow(const std::function<bool(std::uint64_t)>& onEntry) {
    const pid_t child = fork([this] {
      if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) throw std::runtime_error("no tracing");
      std::raise(SIGSTOP);
      AutoOpenPalette();
      // Tells the tracer that the update is over.
      std::raise(SIGSTOP);
    });
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool goOn = true;
    while (goOn) {
      ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
      waitpid(child, &status, 0);
      if (!WIFSTOPPED(status)) throw std::runtime_error("the update ended its process");
      if (WSTOPSIG(status) == SIGSTOP) break;
      if (WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
      __ptrace_syscall_info info{};
      ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
      if (info.op == PTRACE_SYSCALL_INFO_ENTRY) goOn = onEntry(info.entry.nr);
    }
    // A process killed on the way into a system call does not carry it out.
    ::kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return goOn;
  }
};

bool writes(std::uint64_t systemCall) {
  return systemCall == SYS_write || systemCall == SYS_writev;
}

TEST_F(UpdateInterrupted, FirstStartLeavesNoFileAnEmptyOneOrAllOfIt) {
  const std::string before = datetime() + "\n1";
  // Midnight may pass meanwhile.
  const auto isWhole = [&](const std::optional<std::string>& file) {
    return file == before || file == datetime() + "\n1";
  };
  const std::vector<Moment> moments = kill(std::nullopt);
  EXPECT_TRUE(isWhole(moments.back().file));
  for (const Moment& moment : moments) {
    if (!moment.file || moment.file->empty()) {
      expectNextStart(moment, 0);
    } else {
      EXPECT_TRUE(isWhole(moment.file)) << *moment.file;
      expectNextStart(moment, 1);
    }
  }
}

// A counter can be lost in one window only: the file has been emptied and is not yet written.
TEST_F(UpdateInterrupted, LaterStartLosesTheCounterOnlyBetweenEmptyingAndWriting) {
  const std::string before = day + std::string("3\n");
  const std::string after = day + std::string("4\n");
  const std::vector<Moment> moments = watch(before);
  const auto isAfter = [&](const Moment& moment) { return moment.file == after; };
  const auto isEmpty = [](const Moment& moment) { return moment.file == ""; };
  const auto emptied = std::find_if(moments.begin(), moments.end(), isEmpty);
  const auto written = std::find_if(emptied, moments.end(), isAfter);
  EXPECT_TRUE(std::all_of(emptied, written, isEmpty));
  EXPECT_TRUE(std::all_of(written, moments.end(), isAfter));
  ASSERT_LT(emptied, written);
  EXPECT_TRUE(writes(std::prev(written)->systemCall)) << std::prev(written)->systemCall;
  for (const Moment& moment : kill(before)) {
    if (moment.file == before) {
      expectNextStart(moment, 3);
    } else if (isEmpty(moment)) {
      expectNextStart(moment, 0);
    } else {
      EXPECT_EQ(moment.file, after);
      expectNextStart(moment, 4);
    }
  }
}

// It is written in pieces, whose size is the C++ library's affair: each kill leaves a beginning.
// The first piece has the counter.
TEST_F(UpdateInterrupted, LongFileIsCutShort) {
  const std::string rest(10'000, 'x');
  const std::string before = day + ("3\n" + rest + "\n" + rest + "\n");
  const std::string after = day + ("4\n" + rest + "\n" + rest + "\n");
  const std::vector<Moment> moments = kill(before);
  ASSERT_TRUE(moments.back().file == after);
  for (const Moment& moment : moments) {
    ASSERT_TRUE(moment.file);
    if (*moment.file == before) {
      expectNextStart(moment, 3);
    } else if (moment.file->empty()) {
      expectNextStart(moment, 0);
    } else {
      EXPECT_TRUE(*moment.file == after.substr(0, moment.file->size()));
      expectNextStart(moment, 4);
    }
  }
}

}  // namespace
