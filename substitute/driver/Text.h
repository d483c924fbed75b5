// Strings for people to read.
#pragma once

#include <string>
#include <vector>

namespace substitute {

// `string` with its control characters escaped as in JSON, such as \u001b, so that a terminal does
// not execute them. Control characters are U+0000 to U+001F and U+007F to U+009F.
std::string printable(const std::string& string);

// `string`, printable, in double quotes, for names in sentences.
std::string quoted(const std::string& string);

// "1 text", "2 texts".
std::string plural(long count, const std::string& noun);

// "a, b, c".
std::string listed(const std::vector<std::string>& words);

// The three of `words` with the least edit distance to `word`, the nearest first; fewer when there
// are fewer.
std::vector<std::string> nearest(const std::string& word, std::vector<std::string> words);

}  // namespace substitute
