// Interception of the add-in's calls: every operation of the host passes here, and here alone is it
// traced and made to fail.
#pragma once

#include <Core/CoreAll.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "substitute/api/Export.h"
#include "substitute/api/FaultPlan.h"
#include "substitute/api/Operation.h"
#include "substitute/api/ReferenceCounted.h"
#include "substitute/api/Signal.h"
#include "substitute/api/Trace.h"

namespace substitute {

class SUBSTITUTE_API CallInterceptor {
 public:
  FaultPlan faults;

  // Publishes every entry of the trace (docs/substitute-host.md), in the order of the calls.
  Signal<Json> trace;

  // Published before each call. The call has returned, or thrown, when its entry of the trace is
  // published.
  Signal<Operation> callBegins;

  // A call of `operation` on the object `on`, null for an operation of the class itself. `body`
  // does the work. What it returns is what the add-in gets: of an object, which may be null, it
  // gets a reference; of a std::optional<std::string> it gets a string to free, or null; a
  // bool or a number it gets as it is. Throws std::runtime_error when that fault is planned.
  template <class Body, class... Arguments>
  auto call(Operation operation, const ReferenceCounted* on, Body body,
            const Arguments&... arguments) {
    return intercept(
        operation, on, [&] { return forAddIn(body()); }, arguments...);
  }

  // The same for an operation whose result is an object without a reference for the add-in.
  template <class Body, class... Arguments>
  auto intercept(Operation operation, const ReferenceCounted* on, Body body,
                 const Arguments&... arguments) -> decltype(body()) {
    callBegins.publish(operation);
    const std::optional<Failure> failure = faults.next(operation);
    Json entry;
    const bool traced = trace.hasListeners();
    if (traced) {
      entry["op"] = nameOf(operation);
      if (on != nullptr) entry["on"] = on->name();
      entry["args"] = Json::array({describe(arguments)...});
    }
    if (failure == Failure::exception) {
      entry["fault"] = "throw";
      trace.publish(entry);
      throw std::runtime_error("the host failed in " + nameOf(operation));
    }
    const auto result = failure ? decltype(body())() : body();
    if (traced) {
      entry["result"] = describe(result);
      if (failure) entry["fault"] = "null";
      trace.publish(entry);
    }
    return result;
  }

 private:
  static bool forAddIn(bool result) { return result; }
  static int forAddIn(int result) { return result; }
  static char* forAddIn(const std::optional<std::string>& result) {
    return result ? allocateForAddIn(*result) : nullptr;
  }
  template <class T>
  static T* forAddIn(T* result) {
    if (result != nullptr) result->addRefForAddIn();
    return result;
  }

  static Json describe(bool value) { return value; }
  static Json describe(int value) { return value; }
  static Json describe(const char* string) { return string == nullptr ? Json() : Json(string); }
  static Json describe(const ReferenceCounted* object) {
    return object == nullptr ? Json() : Json(object->name());
  }
  static Json describe(const adsk::core::EventHandler* handler) {
    return handler == nullptr ? Json() : Json(typeName(typeid(*handler)));
  }
};

}  // namespace substitute
