// Threads, of which there is one.
//
// A program for macOS locks, and stores values per thread, even where it makes no other thread.
// Here nothing is locked and nobody is woken: those functions succeed by doing nothing, whatever
// they are given. Linux stores the values; a key is wider on macOS, and its lower half serves.
// Making a thread is not supplied.
#include "System.h"

extern "C" int nothing_to_do() {
  return 0;
}

// GoogleTest counts them before it forks.
extern "C" int mac_task_threads(unsigned /*task*/, unsigned** threads, unsigned* count) {
  static unsigned oneThread = 1;
  *threads = &oneThread;
  *count = 1;
  return 0;
}

EMULATION_SUPPLY(
    "pthread_cond_broadcast, pthread_mutex_destroy, pthread_mutex_init, pthread_mutex_lock, "
    "pthread_mutex_unlock, pthread_rwlock_rdlock, pthread_rwlock_unlock, pthread_rwlock_wrlock, "
    "vm_deallocate",
    "nothing_to_do");
EMULATION_SUPPLY("pthread_mach_thread_np", "pthread_self");  // any number
EMULATION_CONVERTED("task_threads");
EMULATION_SAME(
    "pthread_getspecific, pthread_key_create, pthread_key_delete, pthread_self, "
    "pthread_setspecific");
