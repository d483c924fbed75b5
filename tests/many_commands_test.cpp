// The cost of a command in a host with many objects, counted as allocations, which are the same in
// every run.
#include <cstdlib>
#include <new>
#include <ostream>

#include "substitute/driver/ScenarioRunner.h"
#include "tests/AddInFixture.h"

namespace {

long allocations = 0;

class ManyCommands : public AddInFixture {
 protected:
  void play(const std::string& line) { runner.play(substitute::parseCommand(line)); }

  // Plants a palette and a definition for each number; of controls the report names all.
  void plant(int from, int to) {
    for (int i = from; i < to; ++i) {
      play("plant palette object" + std::to_string(i));
      play("plant definition object" + std::to_string(i));
    }
  }

  std::ostream nowhere{nullptr};
  substitute::ScenarioRunner runner{*host, addinFile(), nowhere};
};

TEST_F(ManyCommands, EachCostsTheSameHoweverManyObjectsThereAre) {
  const std::vector<std::string> commands = {"plant palette x",
                                             "remove palette x",
                                             "plant definition x",
                                             "remove definition x",
                                             "hide",
                                             "click",
                                             "message \"x\"",
                                             "language 3",
                                             "offline",
                                             "fail Palettes.add 1000000"};
  std::vector<long> few;
  play("start");
  plant(0, 100);
  for (const bool many : {false, true}) {
    if (many) plant(100, 1000);
    for (std::size_t i = 0; i < commands.size(); ++i) {
      const long before = allocations;
      play(commands[i]);
      if (!many) few.push_back(allocations - before);
      // A container that grows allocates now and then.
      EXPECT_LE(allocations - before, few[i] + 20) << commands[i];
    }
  }
}

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
