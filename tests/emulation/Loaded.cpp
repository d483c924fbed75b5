// The library that the tests of the loader load.
#include <string>
#include <vector>

// Defined in the program, too; they share one.
inline int shared = 0;

namespace {

using Names = std::vector<std::string>;
Names* destroyed = nullptr;
thread_local int countOfThread = 40;

struct Recorded {
  explicit Recorded(const char* itsName) : name(itsName) {}
  ~Recorded() {
    if (destroyed != nullptr) destroyed->push_back(name);
  }
  const char* name;
};

const Recorded first("first");
const Recorded second("second");

}  // namespace

extern "C" {

// Lets the library write there what is destroyed while it is unloaded.
void setDestroyed(Names* names) {
  destroyed = names;
}

int count() {
  ++shared;
  return ++countOfThread;
}

}  // extern "C"
