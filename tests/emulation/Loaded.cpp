// The library that the tests of the loader load.
#include "tests/emulation/Loaded.h"

#include <stdexcept>

namespace {

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

void setDestroyed(Names* names) {
  destroyed = names;
}

void throwOutOfRange(const char* what) {
  throw std::out_of_range(what);
}

int count() {
  ++shared;
  return ++countOfThread;
}

}  // extern "C"
