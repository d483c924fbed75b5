// The functions of threads for a process of one thread: nothing is locked, nobody is woken, and no
// thread can be made.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "System.h"

namespace {

// For what succeeds by doing nothing, whatever it is given.
int nothingToDo() {
  return 0;
}

[[noreturn]] void waitsForever() {
  std::fputs("macos-loader: the only thread waits for another one.\n", stderr);
  std::_Exit(EXIT_FAILURE);
}

std::vector<const void*> values;

int keyCreate(unsigned long* key, void (*)(void*)) {
  *key = values.size();
  values.push_back(nullptr);
  return 0;
}

int keyDelete(unsigned long key) {
  values[key] = nullptr;
  return 0;
}

const void* getSpecific(unsigned long key) {
  return values[key];
}

int setSpecific(unsigned long key, const void* value) {
  values[key] = value;
  return 0;
}

const void* self() {
  static const char thread = 0;
  return &thread;
}

std::uint32_t machThread() {
  return 1;
}

}  // namespace

namespace emulation {

SystemNames threadFunctions() {
  SystemNames names = {supply("_pthread_key_create", keyCreate),
                       supply("_pthread_key_delete", keyDelete),
                       supply("_pthread_getspecific", getSpecific),
                       supply("_pthread_setspecific", setSpecific),
                       supply("_pthread_self", self),
                       supply("_pthread_mach_thread_np", machThread),
                       supply("_pthread_cond_wait", waitsForever)};
  for (const char* const name :
       {"_pthread_mutex_init", "_pthread_mutex_destroy", "_pthread_mutex_lock",
        "_pthread_mutex_trylock", "_pthread_mutex_unlock", "_pthread_mutexattr_init",
        "_pthread_mutexattr_destroy", "_pthread_mutexattr_settype", "_pthread_cond_destroy",
        "_pthread_cond_signal", "_pthread_cond_broadcast", "_pthread_rwlock_rdlock",
        "_pthread_rwlock_wrlock", "_pthread_rwlock_unlock"}) {
    names.push_back(supply(name, nothingToDo));
  }
  return names;
}

}  // namespace emulation
