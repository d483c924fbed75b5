// Two hosts that start at the same moment and share one info file.
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <iostream>
#include <map>
#include <set>
#include <tuple>

#include "tests/AddInFixture.h"
#include "tests/Child.h"
#include "tests/Clock.h"

namespace {

// What came of two starts: each one's count, the lower one first, and the file.
using Outcome = std::tuple<std::int32_t, std::int32_t, std::string>;

// What the two processes share: where they wait for each other, and what they counted.
struct Meeting {
  std::atomic<int> arrived{0};
  std::int32_t counts[2] = {};
};

class StartsAtOnce : public AddInFixture {
 protected:
  StartsAtOnce() {
    setClock = noonOf5March2026;
    load();
  }
  ~StartsAtOnce() override {
    setClock.reset();
    munmap(shared_, sizeof(Meeting));
  }

  // Two hosts start a hundred times over the file `before`. Prints how often which outcome came.
  void startManyTimes(const std::optional<std::string>& before, const std::set<Outcome>& possible) {
    std::map<Outcome, int> seen;
    for (int i = 0; i < 100; ++i) ++seen[startTwo(before)];
    for (const auto& [outcome, times] : seen) {
      std::cout << times << " times " << testing::PrintToString(outcome) << '\n';
      EXPECT_EQ(possible.count(outcome), 1U) << "this cannot be";
    }
  }

 private:
  Outcome startTwo(const std::optional<std::string>& before) {
    std::filesystem::remove(infoFile);
    if (before) writeFile(infoFile, *before);
    auto* const meeting = new (shared_) Meeting;
    const auto start = [&](int number) {
      return fork([=] {
        alarm(60);  // where the other one never comes
        ++meeting->arrived;
        while (meeting->arrived < 2) sched_yield();
        if (addin->run(*host) != true) throw std::runtime_error("run returned false");
        meeting->counts[number] = countOpenPalette();
      });
    };
    for (const pid_t child : {start(0), start(1)}) {
      int status = 0;
      waitpid(child, &status, 0);
      EXPECT_EQ(status, 0);
    }
    const auto [lower, higher] = std::minmax(meeting->counts[0], meeting->counts[1]);
    return {lower, higher, readFile(infoFile)};
  }

  void* const shared_ =
      mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
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
