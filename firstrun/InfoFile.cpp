#include "firstrun/InfoFile.h"

#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include "firstrun/DataLocation.h"
#include "firstrun/Dates.h"

namespace {

// 0 where the line does not begin with a number of 32 bits.
std::int32_t parseCount(const std::string& line) {
  try {
    return std::stoi(line);
  } catch (const std::exception&) {
    return 0;
  }
}

// One more; after the highest count comes the lowest.
std::int32_t next(std::int32_t count) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) + 1U);
}

}  // namespace

std::int32_t AutoOpenPalette() {
  const std::string path = SetAddinLocation(GetExecutableDirectory()) + "/Velorin_Info.txt";
  std::fstream file;
  if (!FileExists(path)) {
    file.open(path, std::ios::in | std::ios::out | std::ios::trunc);
    file << datetime() << "\n1";
    return 0;
  }

  file.open(path, std::ios::in);
  if (!file.is_open()) return -1;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  file.close();

  std::int32_t count = 0;
  if (lines.size() < 2) {
    lines.emplace_back("1");  // an empty file has it on its first line then
  } else {
    count = parseCount(lines[1]);
    lines[1] = std::to_string(next(count));
  }

  file.open(path, std::ios::out);
  for (const std::string& line : lines) file << line << '\n';
  return count;
}
