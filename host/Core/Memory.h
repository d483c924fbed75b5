// Counted references to host objects, and strings that the host allocates.
#pragma once

#include <cassert>
#include <exception>
#include <string>

#include "Base.h"

// What the host's library supplies keeps its visibility, however the including code is compiled.
#define ADSK_HOST_API __attribute__((visibility("default")))

namespace adsk::core {

// Frees `string`, which a host operation returned. The caller does not use it afterwards.
ADSK_HOST_API void DeallocateArrayInternal(char* string);

// Frees an array that the host allocated. Every non-null string that a host operation returns is
// freed exactly once.
template <class T>
void DeallocateArray(T* array) {
  DeallocateArrayInternal(array);
}

// Copies a string that the host returned and frees it. Null gives an empty string, and nothing is
// freed.
inline std::string TakeString(char* string) {
  if (string == nullptr) return {};
  std::string result = string;
  DeallocateArray<char>(string);
  return result;
}

// How Ptr counts: through the operations that every host object has at its head, so that a handle
// can be used where T is only declared. `object` is a host object and not null.
struct IncompleteType {
  template <class T>
  static void addref(void* object) {
    static_cast<const Base*>(object)->addref();
  }
  template <class T>
  static void release(void* object) {
    static_cast<const Base*>(object)->release();
  }
};

// A handle to a host object: empty, or the owner of exactly one counted reference. It is as large
// as a pointer, and is passed by const reference. It cannot be moved: every assignment counts in
// the order of reset(). A handle that a function returns is not copied, so a move would save
// nothing.
template <class T, class Counting = IncompleteType>
class Ptr {
 public:
  // Empty. No count changes.
  Ptr() noexcept = default;

  // Holds `p`. With `attach` takes over a reference that the caller holds; without, adds one.
  Ptr(const T* p, bool attach) : ptr_(const_cast<T*>(p)) {
    if (!attach && ptr_ != nullptr) Counting::template addref<T>(ptr_);
  }

  // Holds what `other` holds; adds one reference.
  Ptr(const Ptr& other) : Ptr(other.ptr_, false) {}

  // Holds the object of `other` as a T; adds one reference. Empty, and no count changes, when
  // `other` is empty or its object is no T.
  template <class U>
  explicit Ptr(const Ptr<U, Counting>& other)
      : Ptr(other ? other->template query<T>() : nullptr, false) {}

  // Releases the reference, if any. A failure in there ends the process.
  ~Ptr() { reset(nullptr, false); }

  // Releases the old reference, then adds one to what `other` holds. Does nothing where both hold
  // the same object, as a handle and itself do.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): reset() finds nothing to do
  Ptr& operator=(const Ptr& other) {
    reset(other.ptr_, false);
    return *this;
  }

  // Releases the old reference and takes over the caller's reference on `p`; null empties the
  // handle.
  Ptr& operator=(const T* p) {
    reset(p, true);
    return *this;
  }

  // Releases the old reference, then holds `p`: with `attach` takes over the caller's reference,
  // without adds one. Does nothing at all when `p` is held already, not even with `attach`.
  void reset(const T* p, bool attach) {
    if (p == ptr_) return;
    if (ptr_ != nullptr) Counting::template release<T>(ptr_);
    ptr_ = const_cast<T*>(p);
    if (!attach && ptr_ != nullptr) Counting::template addref<T>(ptr_);
  }

  // True when an object is held. No count changes.
  explicit operator bool() const noexcept { return ptr_ != nullptr; }

  // The held object. No count changes. On an empty handle the process ends with an assertion, or,
  // where assertions are compiled out (NDEBUG), a std::exception is thrown.
  T* operator->() const {
    if (ptr_ == nullptr) failEmpty();
    return ptr_;
  }

  // The held object or null. No count changes; the result is not counted for the caller.
  T* get() const noexcept { return ptr_; }

 private:
  // The words of the assertion are the host's own, so that a crash report reads the same whichever
  // declarations the add-in was built with.
  [[noreturn]] static void failEmpty() {
#if defined(NDEBUG)
    throw std::exception();
#elif defined(__APPLE__)
    __assert_rtn("operator->", "Memory", 150, "ptr_ != nullptr");
#else
    __assert_fail("ptr_ != nullptr", "Memory", 150, "operator->");
#endif
  }

  T* ptr_ = nullptr;
};

}  // namespace adsk::core
