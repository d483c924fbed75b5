// What every host object implements.
#pragma once

#include <Core/CoreAll.h>

#include <string>
#include <utility>

#include "substitute/api/CallInterceptor.h"
#include "substitute/api/ReferenceCounted.h"

namespace substitute {

namespace core = adsk::core;

// The base of a class that implements the host's `Interface`. `interceptor` outlives every call.
template <class Interface>
class HostObject : public Interface, public ReferenceCounted {
 public:
  void addref() const final { addRefForAddIn(); }
  void release() const final { releaseForAddIn(); }
  bool isValid_raw() const final {
    return call(Operation::Base_isValid, [this] { return valid(); });
  }
  void* queryInterface(const char* id) const final {
    const HostObject* const found = interceptor_.callUncounted(
        Operation::Base_query, this, [&] { return supports(id) ? this : nullptr; }, id);
    return const_cast<Interface*>(static_cast<const Interface*>(found));
  }

 protected:
  HostObject(CallInterceptor& interceptor, std::string className, std::string id = {})
      : ReferenceCounted(std::move(className), std::move(id)), interceptor_(interceptor) {}

  CallInterceptor& interceptor() const { return interceptor_; }

  // A call of one of this object's operations, as CallInterceptor::call().
  template <class Body, class... Arguments>
  auto call(Operation operation, Body body, const Arguments&... arguments) const {
    return interceptor_.call(operation, this, body, arguments...);
  }

  // The same for an operation that returns `part`, an object that this one owns.
  template <class Part>
  Part* callForPart(Operation operation, const HostPtr<Part>& part) const {
    return call(operation, [&] { return part.get(); });
  }

 private:
  virtual bool supports(const char* /*interfaceId*/) const { return false; }

  CallInterceptor& interceptor_;
};

}  // namespace substitute
