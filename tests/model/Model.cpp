#include "tests/model/Model.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <vector>

namespace model {

namespace {

// The number that a text begins with, white space before it skipped; 0 when there is no digit or
// the number has more than 32 bits.
std::int32_t leadingNumber(const std::string& text) {
  std::size_t at = 0;
  while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0) ++at;
  const bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  std::int64_t value = 0;
  const std::int64_t beyond = std::int64_t{1} << 32;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    value = std::min(value * 10 + (text[at] - '0'), beyond);
  }
  if (negative) value = -value;
  if (value < std::numeric_limits<std::int32_t>::min()) return 0;
  if (value > std::numeric_limits<std::int32_t>::max()) return 0;
  return static_cast<std::int32_t>(value);
}

}  // namespace

InfoFileUpdate updateInfoFile(const std::string& before) {
  std::vector<std::string> lines(1);
  for (const char byte : before) {
    if (byte == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += byte;
    }
  }
  // What follows the last line feed is a line only if there is something.
  if (lines.back().empty()) lines.pop_back();

  std::int32_t returned = 0;
  if (lines.size() <= 1) {
    lines.emplace_back("1");
  } else {
    returned = leadingNumber(lines[1]);
    const bool wraps = returned == std::numeric_limits<std::int32_t>::max();
    lines[1] = wraps ? "-2147483648" : std::to_string(returned + 1);
  }
  std::string after;
  for (const std::string& line : lines) after += line + "\n";
  return {returned, after};
}

std::optional<std::string> shellCommand(const std::string& data) {
  if (data.empty()) return {};
  std::string target = data;
  target.erase(target.begin());
  if (!target.empty()) target.pop_back();
  return "open " + target;
}

}  // namespace model
