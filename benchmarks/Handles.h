// What is done with a handle to a host object, once for each way to hold one.
#pragma once

#include <Core/CoreAll.h>

#include <vector>

namespace benchmarks {

// The operations of one kind of handle. A handle is one pointer wide and is passed by its address:
// `from`, `to` and `handle` are handles to a CommandControl, `control` is one to a ToolbarControl.
// The compiler sees neither what comes before an operation nor what follows it.
struct HandleOperations {
  const char* kind;
  // Takes over a counted reference on `object` and drops it.
  void (*attachAndDestroy)(adsk::core::CommandControl* object);
  // Makes a handle in the storage `to`, holding what `from` holds.
  void (*copy)(const void* from, void* to);
  // Lets the handle `to` hold what `from` holds.
  void (*assign)(void* to, const void* from);
  // True when an object is held.
  bool (*test)(const void* handle);
  // Calls an operation of the held object. Ends the process on an empty handle.
  bool (*arrow)(const void* handle);
  // Makes a handle in the storage `to`, by interface query.
  void (*convert)(const void* control, void* to);
};

// The bare pointer, boost::intrusive_ptr and the add-in's Ptr, in this order.
const std::vector<HandleOperations>& handleOperations();

}  // namespace benchmarks
