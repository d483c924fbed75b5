// Two hosts that start at the same moment and share one info file.
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <iostream>
#include <map>
#include <set>
#include <system_error>

#include "tests/AddInFixture.h"
#include "tests/Child.h"
#include "tests/Clock.h"

namespace {

// What came of two starts: each one's count, the lower one first, and the file.
struct Outcome {
  std::int32_t lower;
  std::int32_t higher;
  std::string file;

  bool operator<(const Outcome& other) const {
    return std::tie(lower, higher, file) < std::tie(other.lower, other.higher, other.file);
  }
};

// What the two processes share: where they wait for each other, and what they counted.
struct Meeting {
  std::atomic<int> arrived{0};
  std::int32_t counts[2] = {};
};

class StartsAtOnce : public AddInFixture {
 protected:
  StartsAtOnce()
      : meeting_(mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                      -1, 0)) {
    setClock = noonOf5March2026;
    load();
  }
  ~StartsAtOnce() override {
    setClock.reset();
    munmap(meeting_, sizeof(Meeting));
  }

  // Two hosts start a hundred times over the file `before`. Prints how often which outcome came.
  void startManyTimes(const std::optional<std::string>& before, const std::set<Outcome>& possible) {
    std::map<Outcome, int> seen;
    for (int i = 0; i < 100; ++i) ++seen[startTwo(before)];
    for (const auto& [outcome, times] : seen) {
      std::cout << times << " times " << outcome.lower << " and " << outcome.higher << ", file \""
                << outcome.file << "\"\n";
      EXPECT_EQ(possible.count(outcome), 1U) << "this cannot be";
    }
  }

 private:
  Outcome startTwo(const std::optional<std::string>& before) {
    std::filesystem::remove(infoFile);
    if (before) writeFile(infoFile, *before);
    auto* const meeting = new (meeting_) Meeting;
    pid_t children[2] = {};
    for (int i = 0; i < 2; ++i) {
      const auto work = [this, meeting, i] {
        ++meeting->arrived;
        while (meeting->arrived < 2) sched_yield();
        if (addin->run(*host) != true) throw std::runtime_error("run returned false");
        meeting->counts[i] = countOpenPalette();
      };
      try {
        children[i] = fork(work);
      } catch (const std::system_error&) {
        // Nobody else will arrive.
        if (i == 1) {
          kill(children[0], SIGKILL);
          waitpid(children[0], nullptr, 0);
        }
        throw;
      }
    }
    for (const pid_t child : children) {
      int status = 0;
      waitpid(child, &status, 0);
      EXPECT_EQ(status, 0);
    }
    const auto [lower, higher] = std::minmax(meeting->counts[0], meeting->counts[1]);
    return {lower, higher, readFile(infoFile)};
  }

  void* meeting_;
};

// What comes of any order of the two's system calls: one start after the other; both at once, which
// counts one; and the second finding the file that the first has just emptied, whose bytes the two
// then write over each other.
TEST_F(StartsAtOnce, FirstStarts) {
  startManyTimes({}, {{0, 1, "05.03.2026\n2\n"},
                      {0, 0, "05.03.2026\n1"},
                      {0, 0, "1\n"},
                      {0, 0, "1\n.03.2026\n1"}});
}

TEST_F(StartsAtOnce, LaterStarts) {
  startManyTimes("05.03.2026\n3\n", {{3, 4, "05.03.2026\n5\n"},
                                     {3, 3, "05.03.2026\n4\n"},
                                     {0, 3, "05.03.2026\n4\n"},
                                     {0, 3, "1\n"},
                                     {0, 3, "1\n.03.2026\n4\n"}});
}

}  // namespace
