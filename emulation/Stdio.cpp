// Streams, and printf and scanf. The program passes a FILE on and never looks inside.
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "System.h"

// long double is double there: L is replaced by l, which printf ignores and scanf wants for a
// double.
template <typename Char>
static std::basic_string<Char> withoutLongDouble(const Char* format) {
  std::basic_string<Char> converted = format;
  for (std::size_t at = converted.find('%'); at != converted.npos;
       at = converted.find('%', at + 1)) {
    const Char between[] = {'-', '+', ' ', '#', '0', '1', '2',  '3', '4', '5',
                            '6', '7', '8', '9', '.', '*', '\'', '$', '\0'};
    at = converted.find_first_not_of(between, at + 1);
    if (at == converted.npos) break;
    if (converted[at] == 'L') converted[at] = 'l';
  }
  return converted;
}

using emulation::toVaList;

extern "C" {

int mac_vfprintf(FILE* file, const char* format, void* stack) {
  std::va_list list;
  return std::vfprintf(file, withoutLongDouble(format).c_str(), toVaList(stack, list));
}

int mac_vprintf(const char* format, void* stack) {
  return mac_vfprintf(stdout, format, stack);
}

int mac_vsnprintf(char* buffer, std::size_t size, const char* format, void* stack) {
  std::va_list list;
  return std::vsnprintf(buffer, size, withoutLongDouble(format).c_str(), toVaList(stack, list));
}

int mac_vasprintf(char** string, const char* format, void* stack) {
  std::va_list list;
  return vasprintf(string, withoutLongDouble(format).c_str(), toVaList(stack, list));
}

int mac_vswprintf(wchar_t* buffer, std::size_t size, const wchar_t* format, void* stack) {
  std::va_list list;
  return std::vswprintf(buffer, size, withoutLongDouble(format).c_str(), toVaList(stack, list));
}

int mac_vsscanf(const char* string, const char* format, void* stack) {
  std::va_list list;
  return std::vsscanf(string, withoutLongDouble(format).c_str(), toVaList(stack, list));
}

}  // extern "C"

EMULATION_VARIADIC(entry_printf, 1, mac_vprintf)
EMULATION_VARIADIC(entry_fprintf, 2, mac_vfprintf)
EMULATION_VARIADIC(entry_snprintf, 3, mac_vsnprintf)
EMULATION_VARIADIC(entry_swprintf, 3, mac_vswprintf)
EMULATION_VARIADIC(entry_sscanf, 2, mac_vsscanf)

namespace emulation {

SystemNames stdioFunctions() {
  return {supply("___stdinp", &stdin),       supply("___stdoutp", &stdout),
          supply("___stderrp", &stderr),     supply("_vprintf", mac_vprintf),
          supply("_vfprintf", mac_vfprintf), supply("_vsnprintf", mac_vsnprintf),
          {"_printf", entry_printf},         {"_fprintf", entry_fprintf},
          {"_snprintf", entry_snprintf},     {"_swprintf", entry_swprintf},
          {"_sscanf", entry_sscanf}};
}

}  // namespace emulation
