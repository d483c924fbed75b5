#include "substitute/api/Trace.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace substitute {

namespace {

std::string demangle(const char* name) {
  const std::unique_ptr<char, decltype(&std::free)> plain(
      abi::__cxa_demangle(name, nullptr, nullptr, nullptr), &std::free);
  return plain ? plain.get() : name;
}

}  // namespace

std::string line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string indented(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string demangled(const std::string& symbol) {
  return symbol.rfind("_Z", 0) == 0 ? demangle(symbol.c_str()) : symbol;
}

std::string typeName(const std::type_info& type) {
  return demangle(type.name());
}

}  // namespace substitute
