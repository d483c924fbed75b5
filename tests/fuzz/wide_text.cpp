// ws2s against ICU, for any 32-bit units.
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include "firstrun/DataLocation.h"
#include "tests/fuzz/Fuzz.h"

namespace {

// The text in UTF-8, or nothing where ICU knows a unit that is no character's code point.
std::optional<std::string> expected(const std::wstring& text) {
  std::string bytes;
  for (const wchar_t unit : text) {
    const auto point = static_cast<UChar32>(unit);
    if (point < 0 || point > 0x10FFFF || U_IS_SURROGATE(point)) return {};
    icu::UnicodeString(point).toUTF8String(bytes);
  }
  return bytes;
}

std::optional<std::string> converted(const std::wstring& text) {
  try {
    return ws2s(text);
  } catch (const std::range_error& error) {
    require(std::string(error.what()) == "wstring_convert: to_bytes error", "the error's text");
    return {};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::wstring text(size / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), data, text.size() * sizeof(wchar_t));
  require(converted(text) == expected(text), "the bytes");
  // Hardly any unit is a code point by chance: the same text, brought nearer to their range.
  for (wchar_t& unit : text) unit &= 0x1FFFFF;
  require(converted(text) == expected(text), "the bytes");
  for (wchar_t& unit : text) unit &= 0xFFFF;
  require(converted(text) == expected(text), "the bytes");
  return 0;
}
