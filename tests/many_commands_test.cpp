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
  // The number of allocations that playing `line` takes.
  long cost(const std::string& line) {
    const substitute::Command command = substitute::parseCommand(line);
    const long before = allocations;
    runner.play(command);
    return allocations - before;
  }

  // The same for one object more of each kind but a control: of the controls the report names all.
  long costOfPlanting(int number) {
    const std::string id = "object" + std::to_string(1'000'000 + number);
    return cost("plant palette " + id) + cost("plant definition " + id);
  }

  std::ostream nowhere{nullptr};
  substitute::ScenarioRunner runner{*host, addinFile(), nowhere};
};

TEST_F(ManyCommands, EachCostsTheSameHoweverManyObjectsThereAre) {
  const std::vector<std::string> others = {"hide",       "click",   "message \"x\"",
                                           "language 3", "offline", "fail Palettes.add 1000000"};
  runner.play(substitute::parseCommand("start"));
  long few = 0;
  for (int i = 0; i < 100; ++i) few += costOfPlanting(i);
  std::vector<long> fewOthers;
  for (const std::string& line : others) fewOthers.push_back(cost(line));
  for (int i = 100; i < 900; ++i) costOfPlanting(i);
  long many = 0;
  for (int i = 900; i < 1000; ++i) many += costOfPlanting(i);
  // A container that grows allocates now and then.
  EXPECT_LE(many, few + 20);
  for (std::size_t i = 0; i < others.size(); ++i) {
    EXPECT_LE(cost(others[i]), fewOthers[i] + 20) << others[i];
  }
}

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  ++allocations;
  return std::malloc(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
