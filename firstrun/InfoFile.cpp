#include "firstrun/InfoFile.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <string>

#include "firstrun/DataLocation.h"
#include "firstrun/Dates.h"

namespace {

std::int32_t parseCount(const std::string& line) {
  try {
    return std::stoi(line);
  } catch (const std::exception&) {
    return 0;
  }
}

// After the highest count comes the lowest.
std::int32_t next(std::int32_t count) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) + 1U);
}

}  // namespace

std::int32_t AutoOpenPalette() {
  std::string path = SetAddinLocation(GetExecutableDirectory());
  path += "/Velorin_Info.txt";

  std::fstream file;
  if (!FileExists(path)) {
    file.open(path, std::ios::in | std::ios::out | std::ios::trunc);
    file << datetime() << "\n1";
    return 0;
  }

  file.open(path, std::ios::in);
  if (!file.is_open()) return -1;
  std::string text;  // the new content
  // In one piece, where the stream can tell how long the file is: the counter may grow, and a last
  // line feed be added.
  text.reserve(static_cast<std::size_t>(std::max<std::streamsize>(file.rdbuf()->in_avail(), 0)) +
               16);
  std::string line;
  if (std::getline(file, line, '\n')) text.append(line) += '\n';
  const std::int32_t count = std::getline(file, line, '\n') ? parseCount(line) : 0;
  text.append(std::to_string(next(count))) += '\n';
  while (std::getline(file, line, '\n')) text.append(line) += '\n';
  file.close();

  file.open(path, std::ios::out);
  file << text;
  return count;
}
