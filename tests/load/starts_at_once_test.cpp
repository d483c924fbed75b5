// Two hosts that start at the same moment and share one info file.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>

#include "tests/AddInFixture.h"
#include "tests/Child.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* today = "16.11.2026";

// What came of two starts: each one's count, the lower one first, and the file.
using Outcome = std::tuple<std::int32_t, std::int32_t, std::string>;

Outcome outcome(std::int32_t one, std::int32_t other, std::string file) {
  return {std::min(one, other), std::max(one, other), std::move(file)};
}

// All that can come of two starts, by trying every order of their steps on a file in memory. Each
// step is one call of the operating system and happens at once.
class Orders {
 public:
  explicit Orders(std::optional<std::string> file) { go({std::move(file), {}}); }
  const std::set<Outcome>& outcomes() const { return outcomes_; }

 private:
  enum class Step { ask, open, read, empty, write, done };
  struct Start {
    Step step = Step::ask;
    std::string seen;     // what it has read
    std::string written;  // what it is going to write
    std::int32_t count = 0;
  };
  struct World {
    std::optional<std::string> file;
    Start starts[2];
  };

  void go(const World& world) {
    bool over = true;
    for (int i = 0; i < 2; ++i) {
      if (world.starts[i].step == Step::done) continue;
      over = false;
      World next = world;
      advance(next.starts[i], next.file);
      go(next);
    }
    if (over) {
      outcomes_.insert(
          outcome(world.starts[0].count, world.starts[1].count, world.file.value_or("")));
    }
  }

  static void advance(Start& start, std::optional<std::string>& file) {
    switch (start.step) {
      case Step::ask:
        start.step = file ? Step::open : Step::empty;
        start.written = std::string(today) + "\n1";
        break;
      case Step::open:  // nobody removes the file
        start.step = Step::read;
        break;
      case Step::read:
        if (start.seen.size() < file->size()) {
          start.seen += file->substr(start.seen.size());
        } else {
          count(start);
          start.step = Step::empty;
        }
        break;
      case Step::empty:
        file = "";
        start.step = Step::write;
        break;
      case Step::write:
        file->replace(0, std::min(start.written.size(), file->size()), start.written);
        start.step = Step::done;
        break;
      case Step::done:
        break;
    }
  }

  // Files of these starts hold up to two lines, the second one a small number.
  static void count(Start& start) {
    const auto end = start.seen.find('\n');
    if (end == std::string::npos || end + 1 == start.seen.size()) {
      start.count = 0;
      const bool needsEnd = end == std::string::npos && !start.seen.empty();
      start.written = start.seen + (needsEnd ? "\n" : "") + "1\n";
    } else {
      start.count = std::stoi(start.seen.substr(end + 1));
      start.written = start.seen.substr(0, end + 1) + std::to_string(start.count + 1) + "\n";
    }
  }

  std::set<Outcome> outcomes_;
};

std::string inWords(const Outcome& outcome) {
  return std::to_string(std::get<0>(outcome)) + " and " + std::to_string(std::get<1>(outcome)) +
         ", file \"" + std::get<2>(outcome) + '"';
}

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
    load();
  }
  ~StartsAtOnce() override { munmap(meeting_, sizeof(Meeting)); }

  // Two hosts start over the file `before` at the same moment.
  Outcome startTwo(const std::optional<std::string>& before) {
    fs::remove(infoFile);
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
    return outcome(meeting->counts[0], meeting->counts[1], readFile(infoFile));
  }

  // A hundred times. Prints how often which outcome came.
  void startManyTimes(const std::optional<std::string>& before) {
    const std::set<Outcome> possible = Orders(before).outcomes();
    std::map<Outcome, int> seen;
    for (int i = 0; i < 100; ++i) {
      std::string date;
      Outcome now;
      do {  // two starts with midnight between them are made again
        date = datetime();
        now = startTwo(before);
      } while (date != datetime());
      std::string& file = std::get<2>(now);
      if (const auto at = file.find(date); at != std::string::npos) {
        file.replace(at, date.size(), today);
      }
      ++seen[now];
      ASSERT_TRUE(possible.count(now) == 1) << inWords(now);
    }
    for (const auto& [now, times] : seen) std::cout << times << " times " << inWords(now) << '\n';
  }

 private:
  void* meeting_;
};

TEST_F(StartsAtOnce, OrdersKnowWhatCanComeOfThem) {
  const std::set<Outcome> all = Orders(std::string(today) + "\n3\n").outcomes();
  const std::string kept = std::string(today) + "\n";
  // One after the other; both at once, which counts one start; and the second finding the file that
  // the first has just emptied.
  EXPECT_EQ(all.count(outcome(3, 4, kept + "5\n")), 1U);
  EXPECT_EQ(all.count(outcome(3, 3, kept + "4\n")), 1U);
  EXPECT_EQ(all.count(outcome(0, 3, "1\n")), 1U);
  EXPECT_EQ(all.count(outcome(3, 4, kept + "4\n")), 0U);
  EXPECT_EQ(all.count(outcome(0, 4, "1\n")), 0U);
}

TEST_F(StartsAtOnce, FirstStarts) {
  startManyTimes(std::nullopt);
}

TEST_F(StartsAtOnce, LaterStarts) {
  startManyTimes(std::string(today) + "\n3\n");
}

}  // namespace
