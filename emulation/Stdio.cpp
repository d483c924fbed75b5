// Streams, and printf and scanf.
//
// A program for macOS passes a FILE on and never looks inside, so that Linux's own serves. On arm64
// its long double is a double, and the arguments behind the named ones lie on the stack: printf and
// its kin are entered there, and the letter L of their formats is replaced by l, which printf
// ignores and scanf wants for a double.
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "System.h"

static std::string withoutLongDouble(const char* format) {
  std::string converted = format;
  for (std::size_t at = converted.find('%'); at != std::string::npos;
       at = converted.find('%', at + 1)) {
    at = converted.find_first_not_of("-+ #0123456789.*'$", at + 1);
    if (at == std::string::npos) break;
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

int mac_vsnprintf_l(char* buffer, std::size_t size, void* /*locale*/, const char* format,
                    void* stack) {
  return mac_vsnprintf(buffer, size, format, stack);
}

int mac_vsscanf(const char* string, const char* format, void* stack) {
  std::va_list list;
  return std::vsscanf(string, withoutLongDouble(format).c_str(), toVaList(stack, list));
}

}  // extern "C"

EMULATION_VARIADIC(mac_printf, 1, mac_vprintf);
EMULATION_VARIADIC(mac_fprintf, 2, mac_vfprintf);
EMULATION_VARIADIC(mac_snprintf, 3, mac_vsnprintf);
EMULATION_VARIADIC(mac_snprintf_l, 4, mac_vsnprintf_l);
EMULATION_VARIADIC(mac_sscanf, 2, mac_vsscanf);

EMULATION_CONVERTED("fprintf, printf, snprintf, snprintf_l, sscanf, vfprintf, vprintf, vsnprintf");
EMULATION_SUPPLY("__stdinp", "stdin");
EMULATION_SUPPLY("__stdoutp", "stdout");
EMULATION_SUPPLY("__stderrp", "stderr");
EMULATION_SAME(
    "fclose, fdopen, fflush, fgetc, fileno, fopen, fputc, fputs, fread, fseek, fseeko, ftell, "
    "ftello, fwrite, getc, rewind, setbuf, tmpfile, ungetc");
