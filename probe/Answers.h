// The answers of a host, written as JSON lines.
#pragma once

#include <cstdio>
#include <string>

namespace probe {

// One answer, as JSON.
class Answer {
 public:
  Answer(bool value);
  Answer(int value);
  // Bytes outside of printable ASCII are written as \u00XX, whatever they encode.
  Answer(const char* text);
  Answer(const std::string& text);

  const std::string& json() const { return json_; }

 private:
  std::string json_;
};

// A file of answers, one line for each question.
class Answers {
 public:
  Answers() = default;
  ~Answers() { close(); }
  Answers(const Answers&) = delete;
  Answers& operator=(const Answers&) = delete;

  // Begins the file anew. False when it cannot be written.
  bool open(const std::string& path);
  void close();

  // Writes one line, which has left the process on return. Only the first answer to a question is
  // written; nothing is while no file is open.
  void write(const char* id, const char* question, const Answer& answer);

 private:
  std::FILE* file_ = nullptr;
  std::string written_;  // each id between line feeds
};

}  // namespace probe
