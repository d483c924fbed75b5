// The gate that every host operation passes on its way in: it writes the trace and asks the fault
// plan. Neither happens anywhere else.
#pragma once

#include <Core/CoreAll.h>

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "substitute/core/Counted.h"

namespace substitute {

using Json = nlohmann::ordered_json;

// `json` in one line; bytes that are no UTF-8 become U+FFFD.
std::string line(const Json& json);

// The name of a type, in the language's own spelling.
std::string typeName(const std::type_info& type);

// All operations by the names that trace and fault plan use, "Application.get" first.
const std::vector<std::string>& operations();

// How a call fails: by returning nothing (null, false or 0), or by an exception. Either way nothing
// is done.
enum class Failure { null, exception };

// Which coming calls are to fail.
class FaultPlan {
 public:
  // The `nth` coming call of `operation`, 1 for the next one, fails once. Both have been checked:
  // `operation` is one of operations(), `nth` at least 1.
  void arm(const std::string& operation, std::uint64_t nth, Failure how);

  // Counts a call of `operation` and says how it fails, if it does.
  std::optional<Failure> next(const std::string& operation);

 private:
  struct Entry {
    std::string operation;
    std::uint64_t left;
    Failure how;
  };
  std::vector<Entry> entries_;
};

class Gate {
 public:
  using Listener = std::function<void(const Json&)>;

  FaultPlan faults;

  // `listener` gets every trace entry from now on, in the order of the calls.
  void listen(Listener listener) { listeners_.push_back(std::move(listener)); }

  // Writes an entry that is no operation.
  void event(const Json& entry) const;

  // An operation that returns an object. `body` gives one of the host's own, not counted for
  // anybody, or null; the result is counted for the add-in. `on` is null for an operation of the
  // class itself.
  template <class Body, class... Arguments>
  auto object(const char* operation, const Counted* on, Body body, const Arguments&... arguments) {
    return pass(
        operation, on,
        [&] {
          auto* const result = body();
          if (result != nullptr) result->lend();
          return result;
        },
        [](const auto* result) { return describe(result); }, arguments...);
  }

  // An operation that returns an object without counting it for the caller.
  template <class Body, class... Arguments>
  auto borrowed(const char* operation, const Counted* on, Body body,
                const Arguments&... arguments) {
    return pass(
        operation, on, body, [](const auto* result) { return describe(result); }, arguments...);
  }

  // An operation that returns a bool or a number.
  template <class Body, class... Arguments>
  auto value(const char* operation, const Counted* on, Body body, const Arguments&... arguments) {
    return pass(
        operation, on, body, [](auto result) { return Json(result); }, arguments...);
  }

  // An operation that returns a text, lent to the add-in. `body` gives it, or nothing.
  template <class Body, class... Arguments>
  char* text(const char* operation, const Counted* on, Body body, const Arguments&... arguments) {
    return pass(
        operation, on,
        [&]() -> char* {
          const std::optional<std::string> text = body();
          return text ? lendText(*text) : nullptr;
        },
        [](const char* text) { return describe(text); }, arguments...);
  }

 private:
  static Json describe(bool value) { return value; }
  static Json describe(int value) { return value; }
  static Json describe(const char* text) { return text == nullptr ? Json() : Json(text); }
  static Json describe(const Counted* object) {
    return object == nullptr ? Json() : Json(object->name());
  }
  static Json describe(const adsk::core::EventHandler* handler) {
    return handler == nullptr ? Json() : Json(typeName(typeid(*handler)));
  }

  template <class Body, class Describe, class... Arguments>
  auto pass(const char* operation, const Counted* on, Body body, Describe describeResult,
            const Arguments&... arguments) -> decltype(body()) {
    const std::optional<Failure> failure = faults.next(operation);
    Json entry;
    if (!listeners_.empty()) {
      entry["op"] = operation;
      if (on != nullptr) entry["on"] = on->name();
      entry["args"] = Json::array({describe(arguments)...});
    }
    if (failure == Failure::exception) {
      entry["fault"] = "throw";
      event(entry);
      throwFault(operation);
    }
    const auto result = failure ? decltype(body())() : body();
    if (!listeners_.empty()) {
      entry["result"] = describeResult(result);
      if (failure) entry["fault"] = "null";
      event(entry);
    }
    return result;
  }

  [[noreturn]] static void throwFault(const char* operation);

  std::vector<Listener> listeners_;
};

}  // namespace substitute
