// Locales and the properties of characters.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <cwctype>

#include "System.h"

extern "C" int mac_vsnprintf(char* buffer, std::size_t size, const char* format, void* stack);
extern "C" int mac_vasprintf(char** string, const char* format, void* stack);
extern "C" int mac_vsscanf(const char* string, const char* format, void* stack);

namespace {

// A null locale is that of C; the global one has the same value on both systems.
locale_t toLinux(locale_t locale) {
  static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale == nullptr ? c : locale;
}

class InLocale {
 public:
  explicit InLocale(locale_t locale) : before_(uselocale(toLinux(locale))) {}
  ~InLocale() { uselocale(before_); }
  InLocale(const InLocale&) = delete;
  InLocale& operator=(const InLocale&) = delete;

 private:
  locale_t before_;
};

// The form of `Function` with a locale behind its arguments, which Linux has for some functions
// only.
template <auto Function>
struct WithLocale;
template <typename Result, typename... Arguments, bool NoThrow,
          Result (*Function)(Arguments...) noexcept(NoThrow)>
struct WithLocale<Function> {
  static Result call(Arguments... arguments, locale_t locale) {
    const InLocale in(locale);
    return Function(arguments...);
  }
};

// long double is double there.
double stringToLongDouble(const char* string, char** end) {
  return std::strtod(string, end);
}
double wideStringToLongDouble(const wchar_t* string, wchar_t** end) {
  return std::wcstod(string, end);
}

// The categories in macOS's order.
constexpr int categories[] = {LC_ALL,     LC_COLLATE, LC_CTYPE,   LC_MONETARY,
                              LC_NUMERIC, LC_TIME,    LC_MESSAGES};

char* macSetlocale(int category, const char* name) {
  if (category < 0 || category >= static_cast<int>(std::size(categories))) return nullptr;
  return std::setlocale(categories[category], name);
}

// The bits of a mask have an order of their own.
locale_t macNewlocale(int mask, const char* name, locale_t base) {
  constexpr int masks[] = {LC_COLLATE_MASK,  LC_CTYPE_MASK,   LC_MESSAGES_MASK,
                           LC_MONETARY_MASK, LC_NUMERIC_MASK, LC_TIME_MASK};
  constexpr int all = 0x3f;
  int linuxMask = 0;
  for (std::size_t i = 0; i < std::size(masks); ++i) {
    if ((mask & (1 << i)) != 0) linuxMask |= masks[i];
  }
  return newlocale(mask == all ? LC_ALL_MASK : linuxMask, name, base);
}

void macFreelocale(locale_t locale) {
  if (locale != nullptr && locale != LC_GLOBAL_LOCALE) freelocale(locale);
}

// The last six members have another order.
std::lconv* macLocaleconv() {
  static std::lconv converted;
  const std::lconv& own = *std::localeconv();
  converted = own;
  char* const last = &converted.int_p_cs_precedes;
  const char ordered[] = {own.int_p_cs_precedes,  own.int_n_cs_precedes, own.int_p_sep_by_space,
                          own.int_n_sep_by_space, own.int_p_sign_posn,   own.int_n_sign_posn};
  std::memcpy(last, ordered, sizeof(ordered));
  return &converted;
}

int mbCurMax() {
  return static_cast<int>(MB_CUR_MAX);
}

// --- Characters

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

int maskRune(int character, unsigned long mask) {
  return static_cast<int>(typesOf(character) & mask);
}

int toLower(int character) {
  return static_cast<int>(std::towlower(static_cast<std::wint_t>(character)));
}

int toUpper(int character) {
  return static_cast<int>(std::towupper(static_cast<std::wint_t>(character)));
}

// Programs look into this table: it is that of the locale of C, in which only ASCII has types.
const CharacterTypes* characterTable() {
  static CharacterTypes table = [] {
    CharacterTypes made{};
    const InLocale in(nullptr);
    for (int character = 0; character < tableSize; ++character) {
      const bool ascii = character < asciiSize;
      made.types[character] = ascii ? typesOf(character) : 0;
      made.lower[character] = ascii ? toLower(character) : character;
      made.upper[character] = ascii ? toUpper(character) : character;
    }
    for (int digit = 0; digit < 10; ++digit)
      made.types['0' + digit] |= static_cast<unsigned>(digit);
    for (int digit = 10; digit < 16; ++digit) {
      made.types['a' + digit - 10] |= static_cast<unsigned>(digit);
      made.types['A' + digit - 10] |= static_cast<unsigned>(digit);
    }
    return made;
  }();
  return &table;
}

}  // namespace

extern "C" {

int mac_snprintf_l(char* buffer, std::size_t size, locale_t locale, const char* format,
                   void* stack) {
  const InLocale in(locale);
  return mac_vsnprintf(buffer, size, format, stack);
}

int mac_asprintf_l(char** string, locale_t locale, const char* format, void* stack) {
  const InLocale in(locale);
  return mac_vasprintf(string, format, stack);
}

int mac_sscanf_l(const char* string, locale_t locale, const char* format, void* stack) {
  const InLocale in(locale);
  return mac_vsscanf(string, format, stack);
}

}  // extern "C"

EMULATION_VARIADIC(entry_snprintf_l, 4, mac_snprintf_l)
EMULATION_VARIADIC(entry_asprintf_l, 3, mac_asprintf_l)
EMULATION_VARIADIC(entry_sscanf_l, 3, mac_sscanf_l)

namespace emulation {

SystemNames localeFunctions() {
  return {supply("_setlocale", macSetlocale),
          supply("_newlocale", macNewlocale),
          supply("_freelocale", macFreelocale),
          supply("_localeconv", macLocaleconv),
          supply("_localeconv_l", WithLocale<&macLocaleconv>::call),
          supply("____mb_cur_max_l", WithLocale<&mbCurMax>::call),
          {"_snprintf_l", entry_snprintf_l},
          {"_asprintf_l", entry_asprintf_l},
          {"_sscanf_l", entry_sscanf_l},
          supply("_btowc_l", WithLocale<&btowc>::call),
          supply("_mbrlen_l", WithLocale<&mbrlen>::call),
          supply("_mbrtowc_l", WithLocale<&mbrtowc>::call),
          supply("_mbsnrtowcs_l", WithLocale<&mbsnrtowcs>::call),
          supply("_mbsrtowcs_l", WithLocale<&mbsrtowcs>::call),
          supply("_mbtowc_l", WithLocale<&mbtowc>::call),
          supply("_strcoll_l", WithLocale<&strcoll>::call),
          supply("_strftime_l", WithLocale<&strftime>::call),
          supply("_strtod_l", WithLocale<&strtod>::call),
          supply("_strtof_l", WithLocale<&strtof>::call),
          supply("_strtold", stringToLongDouble),
          supply("_strtold_l", WithLocale<&stringToLongDouble>::call),
          supply("_strtoll_l", WithLocale<&strtoll>::call),
          supply("_strtoull_l", WithLocale<&strtoull>::call),
          supply("_strxfrm_l", WithLocale<&strxfrm>::call),
          supply("_wcrtomb_l", WithLocale<&wcrtomb>::call),
          supply("_wcscoll_l", WithLocale<&wcscoll>::call),
          supply("_wcsnrtombs_l", WithLocale<&wcsnrtombs>::call),
          supply("_wcstold", wideStringToLongDouble),
          supply("_wcsxfrm_l", WithLocale<&wcsxfrm>::call),
          supply("_wctob_l", WithLocale<&wctob>::call),
          supply("___maskrune", maskRune),
          supply("___maskrune_l", WithLocale<&maskRune>::call),
          supply("___tolower", toLower),
          supply("___toupper", toUpper),
          supply("____tolower_l", WithLocale<&toLower>::call),
          supply("____toupper_l", WithLocale<&toUpper>::call),
          supply("__DefaultRuneLocale", characterTable())};
}

}  // namespace emulation
