#include <Core/CoreAll.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cassert>
#include <new>
#include <string>

#include "benchmarks/Benchmarks.h"

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

namespace {

// A handle is one pointer wide and is passed by its address: `from`, `to` and `handle` are handles
// to a CommandControl, `control` is one to a ToolbarControl.

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

// A host object that counts its references and does nothing else. There are two classes of them, so
// that the compiler does not guess, as it cannot in the add-in, which function a call reaches.
template <int>
class CountedObject final : public CommandControl {
 public:
  void addref() const override { ++references_; }
  void release() const override { --references_; }
  void* queryInterface(const char* /*id*/) const override {
    return const_cast<CountedObject*>(this);
  }
  bool isValid_raw() const override { return references_ > 0; }
  bool deleteMe_raw() override { return true; }

 private:
  mutable long references_ = 1;
};

template <class Operations>
void addOperations(const std::string& who) {
  static CountedObject<1> one;
  static CountedObject<2> other;
  static CommandControl* const first = &one;
  static CommandControl* const second = &other;
  static CommandControl* made = nullptr;
  // Called through a pointer, so that the compiler sees neither what comes before nor what follows.
  const auto add = [&who](const std::string& name, auto* operation, auto... handles) {
    benchmarks::add("handle, " + name, who, [operation, handles...] {
      made = first;
      return [operation, handles...] { operation(handles...); };
    });
  };
  add("attach and destroy", Operations::attachAndDestroy, first);
  add("copy", Operations::copy, &first, &made);
  add("assign another", Operations::assign, &made, &second);
  add("assign itself", Operations::assign, &made, &made);
  add("test", Operations::test, &made);
  add("arrow", Operations::arrow, &made);
  add("conversion by query", Operations::convert, &first, &made);
}

}  // namespace

void benchmarks::addHandles() {
  addOperations<AddInOperations>("the add-in");
  addOperations<BareOperations>("a bare pointer");
  addOperations<BoostOperations>("Boost");
}
