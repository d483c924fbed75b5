#include "benchmarks/HandleOperations.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cassert>
#include <new>

using namespace adsk::core;

namespace adsk::core {

// How boost::intrusive_ptr counts.
static void intrusive_ptr_add_ref(const Base* object) {
  object->addref();
}
static void intrusive_ptr_release(const Base* object) {
  object->release();
}

}  // namespace adsk::core

namespace {

// The counting written out wherever a pointer is taken or left. As for a handle, a failure while a
// reference is dropped at the end ends the process.
struct Bare {
  static void attachAndDestroy(Palette* object) noexcept {
    if (object != nullptr) object->release();
  }
  static void copy(const void* from, void* to) {
    Palette* const object = *static_cast<Palette* const*>(from);
    *static_cast<Palette**>(to) = object;
    if (object != nullptr) object->addref();
  }
  static void assign(void* to, const void* from) {
    Palette*& held = *static_cast<Palette**>(to);
    Palette* const object = *static_cast<Palette* const*>(from);
    if (object == held) return;
    if (held != nullptr) held->release();
    held = object;
    if (object != nullptr) object->addref();
  }
  static bool test(const void* handle) { return *static_cast<Palette* const*>(handle) != nullptr; }
  static bool arrow(const void* handle) {
    Palette* const object = *static_cast<Palette* const*>(handle);
    assert(object != nullptr);
    return object->isValid();
  }
  static void convert(const void* control, void* to) {
    ToolbarControl* const object = *static_cast<ToolbarControl* const*>(control);
    CommandControl* const found = object == nullptr ? nullptr : object->query<CommandControl>();
    *static_cast<CommandControl**>(to) = found;
    if (found != nullptr) found->addref();
  }
};

template <template <class> class Handle>
struct Smart {
  static void copy(const void* from, void* to) {
    new (to) Handle<Palette>(*static_cast<const Handle<Palette>*>(from));
  }
  static bool test(const void* handle) {
    return static_cast<bool>(*static_cast<const Handle<Palette>*>(handle));
  }
  static bool arrow(const void* handle) {
    return (*static_cast<const Handle<Palette>*>(handle))->isValid();
  }
};

struct Boost : Smart<boost::intrusive_ptr> {
  static void assign(void* to, const void* from) {
    auto& held = *static_cast<boost::intrusive_ptr<Palette>*>(to);
    const auto& given = *static_cast<const boost::intrusive_ptr<Palette>*>(from);
    held = given;
  }
  static void attachAndDestroy(Palette* object) {
    const boost::intrusive_ptr<Palette> handle(object, false);
  }
  static void convert(const void* control, void* to) {
    const auto& object = *static_cast<const boost::intrusive_ptr<ToolbarControl>*>(control);
    new (to)
        boost::intrusive_ptr<CommandControl>(object ? object->query<CommandControl>() : nullptr);
  }
};

template <class T>
using OurPtr = Ptr<T>;

struct Ours : Smart<OurPtr> {
  static void assign(void* to, const void* from) {
    *static_cast<Ptr<Palette>*>(to) = *static_cast<const Ptr<Palette>*>(from);
  }
  static void attachAndDestroy(Palette* object) { const Ptr<Palette> handle(object, true); }
  static void convert(const void* control, void* to) {
    new (to) Ptr<CommandControl>(*static_cast<const Ptr<ToolbarControl>*>(control));
  }
};

template <class Kind>
HandleOperations operationsOf(const char* kind) {
  return {kind,        Kind::attachAndDestroy, Kind::copy, Kind::assign, Kind::test,
          Kind::arrow, Kind::convert};
}

}  // namespace

const std::vector<HandleOperations>& handleOperations() {
  static const std::vector<HandleOperations> all = {operationsOf<Bare>("bare pointer"),
                                                    operationsOf<Boost>("boost::intrusive_ptr"),
                                                    operationsOf<Ours>("Ptr")};
  return all;
}
