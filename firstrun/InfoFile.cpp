#include "firstrun/InfoFile.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <string>
#include <string_view>

#include "firstrun/DataLocation.h"
#include "firstrun/Dates.h"

namespace {

// All lines of the file, each with a line feed; where the file breaks off, all before that line.
std::string readLines(std::fstream& file) {
  std::string text;
  // In one piece, where the stream can tell how long the file is; two line feeds may be added.
  text.reserve(static_cast<std::size_t>(std::max<std::streamsize>(file.rdbuf()->in_avail(), 0)) +
               2);
  char block[4096];
  // What lies ready is taken before more is read: when that fails, nothing is lost.
  while (file.peek() != std::char_traits<char>::eof()) {
    text.append(block, static_cast<std::size_t>(file.readsome(block, sizeof block)));
  }
  if (file.bad()) text.erase(text.rfind('\n') + 1);
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text;
}

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
  std::string text = readLines(file);
  file.close();

  const std::size_t second = text.find('\n') + 1;  // at the beginning of an empty file
  if (second == text.size()) text += '\n';  // a second line that is missing is like an empty one
  const std::size_t end = text.find('\n', second);
  const std::int32_t count = parseCount(text.substr(second, end - second));

  file.open(path, std::ios::out);
  const std::string_view lines = text;
  file << lines.substr(0, second) << std::to_string(next(count)) << lines.substr(end);
  return count;
}
