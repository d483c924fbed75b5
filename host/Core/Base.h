// What every host object offers.
#pragma once

namespace adsk::core {

// Root of all host classes. The host owns every object and deletes it when its last counted
// reference is released; nobody else does, which is why no destructor is offered. The counting
// operations stand at the head of the interface of every class.
class Base {
 public:
  // Adds one counted reference for the caller. Used through Ptr.
  virtual void addref() const = 0;

  // Releases one counted reference of the caller's; the object goes away with its last one.
  virtual void release() const = 0;

  // The same object seen as the interface `id` (a class's interfaceId()), or null when it does
  // not support that interface. The result carries no counted reference.
  virtual void* queryInterface(const char* id) const = 0;

  // Raw form of isValid().
  virtual bool isValid_raw() const = 0;

  // The same object as a T, or null when it is none. The result is not counted: whoever keeps it
  // counts it.
  template <class T>
  T* query() const {
    return static_cast<T*>(queryInterface(T::interfaceId()));
  }

  // False once the host has deleted what the object stands for.
  bool isValid() const { return isValid_raw(); }

 protected:
  Base() = default;
  Base(const Base&) = default;
  Base& operator=(const Base&) = default;
  ~Base() = default;
};

}  // namespace adsk::core
