// What is done with a handle to a host object, once for each way to hold one.
#pragma once

#include <Core/CoreAll.h>

#include <vector>

// The operations of one kind of handle. Handles are one pointer wide and are passed by their
// address: `from`, `to` and `handle` stand for handles to a Palette. Every operation is a call into
// a library of its own, so that the compiler sees neither what comes before nor what follows.
struct HandleOperations {
  const char* kind;

  // Takes over a counted reference on `object` and drops it.
  void (*attachAndDestroy)(adsk::core::Palette* object);

  // Makes a handle in the storage `to`, holding what `from` holds.
  void (*copy)(const void* from, void* to);

  // Lets the handle `to` hold what `from` holds.
  void (*assign)(void* to, const void* from);

  // True when an object is held.
  bool (*test)(const void* handle);

  // Calls an operation of the held object. Ends the process on an empty handle.
  bool (*arrow)(const void* handle);

  // Makes a handle to a CommandControl in the storage `to`, from one to a ToolbarControl.
  void (*convert)(const void* control, void* to);
};

// The bare pointer, boost::intrusive_ptr and the add-in's Ptr, in this order.
const std::vector<HandleOperations>& handleOperations();
