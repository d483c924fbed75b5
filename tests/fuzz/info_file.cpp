// Any bytes as the info file: what AutoOpenPalette returns and leaves, against its rules written
// down a second time.
#include "firstrun/InfoFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Velorin.h"
#include "tests/TemporaryFolder.h"

namespace {

// A host in a folder of its own.
struct InstalledHost {
  InstalledHost() { std::filesystem::create_directories(substitute::addinFolderIn(folder.path())); }

  const TemporaryFolder folder;
  const substitute::Host host{substitute::settingsIn(folder.path())};
};

// The number that a text begins with; 0 when there is none or it has more than 32 bits.
std::int32_t leadingNumber(const std::string& text) {
  const long long number = std::strtoll(text.c_str(), nullptr, 10);
  const auto count = static_cast<std::int32_t>(number);
  return count == number ? count : 0;
}

// Makes of an info file what a start must make of it; the start counter as it stood before.
std::int32_t update(std::string& file) {
  std::vector<std::string> lines;
  for (std::size_t at = 0, end = 0; at < file.size(); at = end + 1) {
    end = std::min(file.find('\n', at), file.size());
    lines.push_back(file.substr(at, end - at));
  }
  std::int32_t count = 0;
  if (lines.size() < 2) {
    lines.emplace_back("1");
  } else {
    count = leadingNumber(lines[1]);
    lines[1] = count == INT32_MAX ? "-2147483648" : std::to_string(count + 1);
  }
  file.clear();
  for (const std::string& line : lines) file += line + "\n";
  return count;
}

}  // namespace

// The end of the process makes libFuzzer keep the input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const InstalledHost installed;
  static const std::string path = substitute::infoFileOf(installed.host);
  std::string file(reinterpret_cast<const char*>(data), size);
  std::ofstream(path, std::ios::binary) << file;
  if (AutoOpenPalette() != update(file)) std::abort();
  std::ifstream left(path, std::ios::binary);
  if (std::string(std::istreambuf_iterator<char>(left), {}) != file) std::abort();
  return 0;
}
