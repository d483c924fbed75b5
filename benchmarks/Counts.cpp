// benchmark-counts: makes each call that is measured once, to be run by valgrind. Its callgrind
// writes what it counted in a call under the call's name; its massif watches the heap in an update.
#include <valgrind/callgrind.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/Handles.h"
#include "benchmarks/Moments.h"

namespace {

using namespace benchmarks;

// A host object that counts its references and does nothing else.
class CountedObject final : public adsk::core::CommandControl {
 public:
  void addref() const override { ++references_; }
  void release() const override { --references_; }
  void* queryInterface(const char* /*id*/) const override {
    return const_cast<CountedObject*>(this);
  }
  bool isValid_raw() const override { return references_ > 0; }
  bool deleteMe_raw() override { return true; }

 private:
  mutable long references_ = 1;
};

std::string counted;  // the call that is being counted; empty between two

void begin(const std::string& call) {
  counted = call;
  CALLGRIND_ZERO_STATS;
}

void end() {
  if (counted.empty()) return;
  CALLGRIND_DUMP_STATS_AT(counted.c_str());
  counted.clear();
}

void countHandles() {
  CountedObject one;
  CountedObject other;
  for (const HandleOperations& handle : handleOperations()) {
    adsk::core::CommandControl* first = &one;
    adsk::core::CommandControl* second = &other;
    adsk::core::CommandControl* made = nullptr;
    const auto count = [&](const std::string& operation, const auto& call) {
      begin(operation + ": " + handle.kind);
      call();
      end();
    };
    count("attach and destroy", [&] { handle.attachAndDestroy(first); });
    count("copy", [&] { handle.copy(&first, &made); });
    count("assign itself", [&] { handle.assign(&made, &made); });
    count("assign another", [&] { handle.assign(&made, &second); });
    count("test", [&] { handle.test(&made); });
    count("arrow", [&] { handle.arrow(&made); });
    count("conversion by query", [&] { handle.convert(&first, &made); });
  }
}

// Leaves a few free blocks of each small size in the heap, as a host has them that has run a while.
void warmHeap() {
  std::vector<std::unique_ptr<char[]>> blocks;
  for (std::size_t size = 16; size <= 1024; size += 16) {
    for (int i = 0; i < 7; ++i) blocks.emplace_back(new char[size]);
  }
}

// Loads `library` and measures on a thread of its own, whose stack and share of the heap hold
// nothing of what differs from run to run: paths, the environment, what was measured before.
void measure(const std::string& library,
             const std::function<void(std::unique_ptr<substitute::AddIn>)>& measurement) {
  auto addin = std::make_unique<substitute::AddIn>(library);
  std::async(std::launch::async, [&] { measurement(std::move(addin)); }).get();
}

void countMoment(const std::string& library, const Moment& moment) {
  measure(library, [&](auto addin) {
    const auto session = prepare(moment, std::move(addin));
    warmHeap();
    begin(moment.name);
    moment.call(*session);
    end();
  });
}

// Lets the add-in update an info file of `lines` lines; of 0 lines, all but that. The heap's peak
// with and without the update thus differ by what the update takes.
void update(const std::string& library, std::size_t lines, std::size_t width) {
  measure(library, [&](auto addin) {
    auto* const autoOpenPalette =
        reinterpret_cast<int (*)()>(addin->symbol("_Z15AutoOpenPalettev"));
    if (autoOpenPalette == nullptr) throw substitute::LoadError("there is no AutoOpenPalette");
    Installation::writeInfoFile(4, lines, width);
    const Session session(std::move(addin), false);
    // More than was ever in use before, so that the peak comes now.
    char* const volatile ballast = new char[1 << 24];
    begin("update");
    if (lines > 0) autoOpenPalette();
    end();
    delete[] ballast;
  });
}

}  // namespace

// What comes before the shell is counted; the shell is not run.
int system(const char* /*command*/) {
  end();
  return 0;
}

// The same day whenever it is counted: local time takes more steps in some months than in others.
std::time_t time(std::time_t* timer) noexcept {
  constexpr std::time_t day = 1'795'000'000;  // in November 2026
  if (timer != nullptr) *timer = day;
  return day;
}

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const std::string what = words.empty() ? "" : words[0];
  // The environment is searched for the time zone.
  static char timeZone[] = "TZ=UTC0";
  clearenv();
  putenv(timeZone);
  try {
    const Installation installation;
    if (what == "update" && words.size() == 4) {
      update(words[1], std::stoul(words[2]), std::stoul(words[3]));
      return 0;
    }
    // Twice: the first time is not read, since it holds what is done once in a process, too.
    for (int round = 0; round < 2; ++round) {
      if (what == "handles" && words.size() == 1) {
        countHandles();
      } else if (what == "moments" && words.size() == 2) {
        for (const Moment& moment : moments()) countMoment(words[1], moment);
      } else {
        std::cerr << "usage: benchmark-counts handles | moments LIBRARY | "
                     "update LIBRARY LINES WIDTH\n";
        return 2;
      }
    }
  } catch (const std::exception& error) {
    std::cerr << "benchmark-counts: " << error.what() << ".\n";
    return 1;
  }
  return 0;
}
