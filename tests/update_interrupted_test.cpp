// A process that is killed at each system call of the info file's update, in turn.
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <csignal>
#include <set>

#include "tests/AddInFixture.h"
#include "tests/Child.h"
#include "tests/Clock.h"

namespace fs = std::filesystem;

namespace {

class UpdateInterrupted : public AddInFixture {
 protected:
  using Files = std::set<std::optional<std::string>>;  // nothing: there is no file

  UpdateInterrupted() {
    setClock = noonOf5March2026;
    load();
  }
  ~UpdateInterrupted() override { setClock.reset(); }

  // What is left of the file `before` when an update is killed on the way into its first system
  // call, into its second one, and so on until it comes to its end.
  Files left(const std::optional<std::string>& before) {
    Files all;
    bool killed = true;
    for (int calls = 0; killed; ++calls) {
      fs::remove(infoFile);
      if (before) writeFile(infoFile, *before);
      killed = killOnTheWayInto(calls);
      all.insert(fs::exists(infoFile) ? std::optional(readFile(infoFile)) : std::nullopt);
    }
    return all;
  }

 private:
  // Runs an update in a process of its own that is killed on the way into its system call number
  // `last`, which it does not carry out then. False when the update comes to its end before.
  bool killOnTheWayInto(int last) {
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
    bool over = false;
    for (int entered = -1; entered < last && !over;) {
      ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
      waitpid(child, &status, 0);
      if (!WIFSTOPPED(status)) throw std::runtime_error("the update ended its process");
      over = WSTOPSIG(status) == SIGSTOP;
      if (WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
      __ptrace_syscall_info info{};
      ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
      if (info.op == PTRACE_SYSCALL_INFO_ENTRY) ++entered;
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return !over;
  }
};

TEST_F(UpdateInterrupted, FirstStartLeavesNoFileAnEmptyOneOrAllOfIt) {
  EXPECT_EQ(left({}), (Files{std::nullopt, "", "05.03.2026\n1"}));
}

// A counter can be lost in one window only: the file has been emptied and is not yet written.
TEST_F(UpdateInterrupted, LaterStartLosesTheCounterOnlyBetweenEmptyingAndWriting) {
  EXPECT_EQ(left("16.11.2026\n3\n"), (Files{"16.11.2026\n3\n", "", "16.11.2026\n4\n"}));
}

// It is written in pieces, whose size is the C++ library's affair: each kill leaves a beginning.
// The first piece has the counter.
TEST_F(UpdateInterrupted, LongFileIsCutShort) {
  const std::string rest = "\n" + std::string(10'000, 'x') + "\n" + std::string(10'000, 'x') + "\n";
  const std::string after = "16.11.2026\n4" + rest;
  const std::string before = "16.11.2026\n3" + rest;
  Files files = left(before);
  EXPECT_GT(files.size(), 3U) << "it is written at once";
  for (const std::string& file : {before, std::string(), after}) EXPECT_EQ(files.erase(file), 1U);
  for (const auto& file : files) {
    ASSERT_TRUE(file);
    EXPECT_GT(file->size(), 12U);
    EXPECT_TRUE(*file == after.substr(0, file->size()));
  }
}

}  // namespace
