// A library that starts and cannot stop.
extern "C" bool run(const char* /*context*/) {
  return true;
}
