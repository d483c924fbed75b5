// The locale, characters and strings.
//
// On macOS a function that depends on the locale has a second form, which takes one and ends in _l;
// the C++ library calls those that its streams need, with a null pointer for the locale of C. The
// kinds of characters stand in a table into which programs look. Here that of C is the only locale:
// the forms with a locale ignore it, and the table is made by asking Linux's functions.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <cwctype>

#include "System.h"

namespace {

constexpr int asciiSize = 128;
constexpr int tableSize = 256;

struct CharacterTypes {
  char magic[8];
  char encoding[32];
  void* unused[2];
  std::int32_t invalid;
  std::uint32_t types[tableSize];
  std::int32_t lower[tableSize];
  std::int32_t upper[tableSize];
  std::uint64_t ranges[8];
};

struct CharacterType {
  std::uint32_t bit;
  int (*test)(std::wint_t);
};

constexpr CharacterType characterTypes[] = {
    {0x100, iswalpha},    {0x200, iswcntrl},   {0x400, iswdigit},  {0x800, iswgraph},
    {0x1000, iswlower},   {0x2000, iswpunct},  {0x4000, iswspace}, {0x8000, iswupper},
    {0x10000, iswxdigit}, {0x20000, iswblank}, {0x40000, iswprint}};

std::uint32_t typesOf(int character) {
  std::uint32_t types = 0;
  for (const CharacterType& type : characterTypes) {
    if (type.test(static_cast<std::wint_t>(character)) != 0) types |= type.bit;
  }
  return types;
}

}  // namespace

extern "C" {

const char* mac_setlocale(int /*category*/, const char* name) {
  const bool isC = name == nullptr || *name == '\0' || std::strcmp(name, "C") == 0;
  return isC ? "C" : nullptr;
}

CharacterTypes mac__DefaultRuneLocale = [] {
  CharacterTypes made{};
  for (int character = 0; character < tableSize; ++character) {
    if (character < asciiSize) made.types[character] = typesOf(character);
    made.lower[character] = std::tolower(character);
    made.upper[character] = std::toupper(character);
  }
  return made;
}();

// The types of a character that is not in the table.
int mac___maskrune(int character, unsigned long mask) {
  return static_cast<int>(typesOf(character) & mask);
}

}  // extern "C"

EMULATION_CONVERTED("_DefaultRuneLocale, __maskrune, setlocale");
EMULATION_SUPPLY("__tolower", "towlower");
EMULATION_SUPPLY("__toupper", "towupper");
EMULATION_SUPPLY("___mb_cur_max_l", "__ctype_get_mb_cur_max");
EMULATION_SUPPLY("mbtowc_l", "mbtowc");
EMULATION_SUPPLY("wcrtomb_l", "wcrtomb");
EMULATION_SUPPLY("strtod_l, strtold, strtold_l", "strtod");  // on macOS a long double is a double
EMULATION_SUPPLY("strtoll_l", "strtoll");
EMULATION_SUPPLY("strtoull_l", "strtoull");
EMULATION_SAME(
    "bzero, localeconv, memchr, memcmp, memcpy, memmove, memset, nextafter, strcasecmp, strchr, "
    "strcmp, strdup, strlen, strncmp, strrchr, strstr, strtod, strtol, strtoll, strtoul, strtoull, "
    "wcscmp, wcslen, wcsstr, wmemchr, wmemcmp");
