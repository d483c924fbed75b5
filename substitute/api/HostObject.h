// What every host object implements.
#pragma once

#include <Core/CoreAll.h>

#include <string>
#include <typeinfo>
#include <utility>

#include "substitute/api/CallInterceptor.h"
#include "substitute/api/ReferenceCounted.h"

namespace substitute {

namespace core = adsk::core;

// The name of a class of the host's interface, without its namespace.
inline std::string classNameOf(const std::type_info& type) {
  return typeName(type).substr(sizeof("adsk::core::") - 1);
}

// Implements of the host's `Interface` what all host objects have in common. `interceptor` outlives
// every call.
template <class Interface>
class HostObject : public Interface, public ReferenceCounted {
 public:
  explicit HostObject(CallInterceptor& interceptor, std::string id = {},
                      std::string className = classNameOf(typeid(Interface)))
      : ReferenceCounted(std::move(className), std::move(id)), interceptor_(interceptor) {}

  void addref() const final { addRefForAddIn(); }
  void release() const final { releaseForAddIn(); }
  bool isValid_raw() const final {
    return call(Operation::Base_isValid, [this] { return valid(); });
  }
  void* queryInterface(const char* id) const final {
    const HostObject* const found = interceptor_.intercept(
        Operation::Base_query, this, [&] { return supports(id) ? this : nullptr; }, id);
    return const_cast<Interface*>(static_cast<const Interface*>(found));
  }

 protected:
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
