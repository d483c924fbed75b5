#include "substitute/api/Trace.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace substitute {

std::string line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string indented(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string typeName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return name ? name.get() : type.name();
}

}  // namespace substitute
