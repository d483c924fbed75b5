// The reference for loading and unloading: a C++ library that is linked as the add-in is and holds
// nothing.
extern "C" {

bool run(const char* context);
bool stop(const char* context);

bool run(const char* /*context*/) {
  return true;
}

bool stop(const char* /*context*/) {
  return true;
}
}
