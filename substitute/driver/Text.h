// Strings for people to read.
#pragma once

#include <string>
#include <vector>

namespace substitute {

// `string` with its control characters as JSON escapes them, such as \u001b: a terminal obeys none
// of them. Those of Unicode are meant that a terminal knows, U+0000 to U+001F and U+007F to U+009F.
std::string printable(const std::string& string);

// `string`, printable, in double quotes, as names stand in sentences.
std::string quoted(const std::string& string);

// "1 text", "2 texts".
std::string plural(long count, const std::string& noun);

// "a, b, c".
std::string listed(const std::vector<std::string>& words);

// The three of `words` that are most like `word`, the nearest first; fewer when there are fewer.
std::vector<std::string> nearest(const std::string& word, std::vector<std::string> words);

}  // namespace substitute
