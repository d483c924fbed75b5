#include "firstrun/DataLocation.h"

#include <unistd.h>

#include <cstdint>
#include <stdexcept>

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#else
// Elsewhere the host's library stands in for the operating system, under its name and terms.
extern "C" int _NSGetExecutablePath(char* path, std::uint32_t* size);
#endif

std::string GetExecutableDirectory() {
  char buffer[512] = "";  // stays empty when the path does not fit
  std::uint32_t size = sizeof buffer;
  _NSGetExecutablePath(buffer, &size);
  const std::string path = buffer;
  const auto separator = path.find_last_of("/\\");
  return separator == std::string::npos ? "" : path.substr(0, separator);
}

std::string SetAddinLocation(std::string path) {
  path = path.substr(0, path.find("Autodesk"));
  return path + "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin";
}

bool FileExists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

// By hand: the standard libraries' converters fail with different messages and on different input.
std::string ws2s(const std::wstring& wide) {
  std::string bytes;
  const auto tail = [&bytes](char32_t point, int shift) {
    bytes += static_cast<char>(0x80U | ((point >> shift) & 0x3FU));
  };
  for (const wchar_t unit : wide) {
    const auto point = static_cast<char32_t>(unit);
    if (point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
      throw std::range_error("wstring_convert: to_bytes error");
    }
    if (point < 0x80) {
      bytes += static_cast<char>(point);
    } else if (point < 0x800) {
      bytes += static_cast<char>(0xC0U | (point >> 6));
      tail(point, 0);
    } else if (point < 0x10000) {
      bytes += static_cast<char>(0xE0U | (point >> 12));
      tail(point, 6);
      tail(point, 0);
    } else {
      bytes += static_cast<char>(0xF0U | (point >> 18));
      tail(point, 12);
      tail(point, 6);
      tail(point, 0);
    }
  }
  return bytes;
}
