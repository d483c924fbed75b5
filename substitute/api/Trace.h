// The JSON of the trace, in one line or indented, and the names of types and symbols.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <typeinfo>

#include "substitute/api/Export.h"

namespace substitute {

using Json = nlohmann::ordered_json;

// `json` in one line; bytes that are not UTF-8 become U+FFFD.
SUBSTITUTE_API std::string line(const Json& json);

// The same, indented, for people.
SUBSTITUTE_API std::string indented(const Json& json);

// The name of a symbol in the language's own spelling, where it is mangled.
SUBSTITUTE_API std::string demangled(const std::string& symbol);

// The name of a type, in the language's own spelling.
SUBSTITUTE_API std::string typeName(const std::type_info& type);

}  // namespace substitute
