#include "probe/Answers.h"

namespace probe {

namespace {

void appendQuoted(std::string& json, const char* text) {
  constexpr const char* digits = "0123456789abcdef";
  json += '"';
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < 0x20 || byte > 0x7e) {
      json += "\\u00";
      json += digits[byte / 16];
      json += digits[byte % 16];
    } else {
      if (byte == '"' || byte == '\\') json += '\\';
      json += *text;
    }
  }
  json += '"';
}

}  // namespace

Answer::Answer(bool value) : json_(value ? "true" : "false") {}

Answer::Answer(int value) : json_(std::to_string(value)) {}

Answer::Answer(const char* text) {
  appendQuoted(json_, text);
}

Answer::Answer(const std::string& text) : Answer(text.c_str()) {}

bool Answers::open(const std::string& path) {
  close();
  written_.clear();
  file_ = std::fopen(path.c_str(), "w");
  return file_ != nullptr;
}

void Answers::close() {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
}

void Answers::write(const char* id, const char* question, const Answer& answer) {
  const std::string entry = std::string("\n").append(id).append("\n");
  if (file_ == nullptr || written_.find(entry) != std::string::npos) return;
  written_ += entry;
  std::string line = "{\"id\": ";
  appendQuoted(line, id);
  line += ", \"question\": ";
  appendQuoted(line, question);
  line += ", \"answer\": ";
  line += answer.json();
  line += "}\n";
  std::fwrite(line.data(), 1, line.size(), file_);
  std::fflush(file_);
}

}  // namespace probe
