// Linked into the add-in in place of `access`, by which it looks for its info file: a slowdown that
// the benchmarks must find out.
extern "C" int __real_access(const char* path, int mode);

extern "C" int __wrap_access(const char* path, int mode) {
  for (volatile int step = 0; step < 10'000; step = step + 1) {
  }
  return __real_access(path, mode);
}
