// The reference for loading and unloading: a library that is linked as the add-in is and holds
// nothing.
extern "C" bool run(const char* /*context*/) {
  return true;
}

extern "C" bool stop(const char* /*context*/) {
  return true;
}
