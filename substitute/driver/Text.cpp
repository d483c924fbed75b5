#include "substitute/driver/Text.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <sstream>
#include <utility>

namespace substitute {

namespace {

std::string escaped(unsigned character) {
  if (character == '\n') return "\\n";
  if (character == '\r') return "\\r";
  if (character == '\t') return "\\t";
  const char* const digits = "0123456789abcdef";
  return std::string("\\u00") + digits[character / 16] + digits[character % 16];
}

// The Levenshtein distance of two strings, in bytes.
std::size_t distance(const std::string& one, const std::string& other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string printable(const std::string& string) {
  std::string result;
  for (std::size_t i = 0; i < string.size(); ++i) {
    const auto byte = static_cast<unsigned char>(string[i]);
    const unsigned next = i + 1 < string.size() ? static_cast<unsigned char>(string[i + 1]) : 0;
    if (byte < 0x20 || byte == 0x7f) {
      result += escaped(byte);
    } else if (byte == 0xc2 && next >= 0x80 && next <= 0x9f) {  // U+0080 to U+009F in UTF-8
      result += escaped(next);
      ++i;
    } else {
      result += string[i];
    }
  }
  return result;
}

std::string quoted(const std::string& string) {
  return '"' + printable(string) + '"';
}

std::string plural(long count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::vector<std::string> wordsIn(const std::string& line) {
  std::istringstream stream(line);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::string listed(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) list += (list.empty() ? "" : ", ") + word;
  return list;
}

std::string nearest(const std::string& word, std::vector<std::string> words) {
  constexpr std::size_t enough = 3;
  const std::string typed = word.substr(0, 64);  // no name is as long
  const auto rank = [&](const std::string& name) {
    return std::pair(name.rfind(typed, 0) != 0, distance(typed, name));
  };
  std::stable_sort(words.begin(), words.end(),
                   [&](const auto& left, const auto& right) { return rank(left) < rank(right); });
  words.resize(std::min(words.size(), enough));
  return listed(words);
}

}  // namespace substitute
