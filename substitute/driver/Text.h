// Reading and writing words: for messages, and as users type them.
#pragma once

#include <charconv>
#include <string>
#include <system_error>
#include <vector>

namespace substitute {

// `string` with its control characters escaped as in JSON, such as \u001b, so that a terminal does
// not execute them. Control characters are U+0000 to U+001F and U+007F to U+009F.
std::string printable(const std::string& string);

// `string`, printable, in double quotes, for names in sentences.
std::string quoted(const std::string& string);

// "1 text", "2 texts".
std::string plural(long count, const std::string& noun);

// Reads all of `word` as a decimal number. False when it is none, or too large for the type.
template <class Number>
bool parseNumber(const std::string& word, Number& number) {
  const char* const end = word.data() + word.size();
  const auto [rest, error] = std::from_chars(word.data(), end, number);
  return error == std::errc() && rest == end;
}

// The words in `line`, which spaces separate.
std::vector<std::string> wordsIn(const std::string& line);

// "a, b, c".
std::string listed(const std::vector<std::string>& words);

// "a, b, c": the three of `words` that are nearest to `word`, first those that begin with it, then
// those with the least edit distance.
std::string nearest(const std::string& word, std::vector<std::string> words);

}  // namespace substitute
