#include "benchmarks/Handles.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cassert>
#include <new>

using adsk::core::CommandControl;
using adsk::core::Ptr;
using adsk::core::ToolbarControl;
using boost::intrusive_ptr;

namespace adsk::core {

// How boost::intrusive_ptr counts.
static void intrusive_ptr_add_ref(const Base* object) {
  object->addref();
}
static void intrusive_ptr_release(const Base* object) {
  object->release();
}

}  // namespace adsk::core

namespace benchmarks {

namespace {

// The counting written out wherever a pointer is taken or left. As for a handle, a failure while a
// reference is dropped at the end ends the process.
struct BareOperations {
  static void attachAndDestroy(CommandControl* object) noexcept {
    if (object != nullptr) object->release();
  }
  static void copy(const void* from, void* to) {
    CommandControl* const object = *static_cast<CommandControl* const*>(from);
    *static_cast<CommandControl**>(to) = object;
    if (object != nullptr) object->addref();
  }
  static void assign(void* to, const void* from) {
    CommandControl*& held = *static_cast<CommandControl**>(to);
    CommandControl* const object = *static_cast<CommandControl* const*>(from);
    if (object == held) return;
    if (held != nullptr) held->release();
    held = object;
    if (object != nullptr) object->addref();
  }
  static bool test(const void* handle) {
    return *static_cast<CommandControl* const*>(handle) != nullptr;
  }
  static bool arrow(const void* handle) {
    CommandControl* const object = *static_cast<CommandControl* const*>(handle);
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
struct HandleOf {
  template <class T>
  static const Handle<T>& at(const void* handle) {
    return *static_cast<const Handle<T>*>(handle);
  }
  static void copy(const void* from, void* to) {
    new (to) Handle<CommandControl>(at<CommandControl>(from));
  }
  static void assign(void* to, const void* from) {
    *static_cast<Handle<CommandControl>*>(to) = at<CommandControl>(from);
  }
  static bool test(const void* handle) { return static_cast<bool>(at<CommandControl>(handle)); }
  static bool arrow(const void* handle) { return at<CommandControl>(handle)->isValid(); }
};

struct BoostOperations : HandleOf<intrusive_ptr> {
  static void attachAndDestroy(CommandControl* object) {
    const intrusive_ptr<CommandControl> handle(object, false);
  }
  static void convert(const void* control, void* to) {
    const auto& object = at<ToolbarControl>(control);
    new (to) intrusive_ptr<CommandControl>(object ? object->query<CommandControl>() : nullptr);
  }
};

template <class T>
using AddInPtr = Ptr<T>;

struct AddInOperations : HandleOf<AddInPtr> {
  static void attachAndDestroy(CommandControl* object) {
    const Ptr<CommandControl> handle(object, true);
  }
  static void convert(const void* control, void* to) {
    new (to) Ptr<CommandControl>(at<ToolbarControl>(control));
  }
};

template <class Operations>
HandleOperations operationsOf(const char* kind) {
  return {kind,
          Operations::attachAndDestroy,
          Operations::copy,
          Operations::assign,
          Operations::test,
          Operations::arrow,
          Operations::convert};
}

}  // namespace

const std::vector<HandleOperations>& handleOperations() {
  static const std::vector<HandleOperations> all = {
      operationsOf<BareOperations>("bare pointer"),
      operationsOf<BoostOperations>("boost::intrusive_ptr"), operationsOf<AddInOperations>("Ptr")};
  return all;
}

}  // namespace benchmarks
