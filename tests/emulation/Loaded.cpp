// The library that the tests of the loader load.
#include <string>
#include <vector>

// Defined in the program, too; they share one.
inline int shared = 0;

using Names = std::vector<std::string>;

struct Destroyed {
  char room[100'000];  // so `names` lies behind what the file holds of the segment
  Names* names;
} destroyed;

namespace {

thread_local int countOfThread = 40;

struct Recorded {
  const char* name;
  ~Recorded() {
    if (destroyed.names != nullptr) destroyed.names->push_back(name);
  }
};

const Recorded first{"first"};
const Recorded second{"second"};

}  // namespace

extern "C" {

// Lets the library write there what is destroyed while it is unloaded.
void setDestroyed(Names* names) {
  destroyed.names = names;
}

int count() {
  ++shared;
  return ++countOfThread;
}

}  // extern "C"
