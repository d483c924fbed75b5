#include "substitute/headless/JUnit.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <utility>

#include "substitute/driver/Errors.h"

namespace substitute {

namespace {

// `bytes` escaped for XML, in attributes and in text.
std::string escaped(const std::string& bytes) {
  // What is not UTF-8 is replaced as in the trace.
  const std::string string = Json::parse(line(Json(bytes)));
  static const std::map<char, std::string> names = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
  static const std::string replacement = "\xEF\xBF\xBD";
  std::string xml;
  for (const char byte : string) {
    const auto name = names.find(byte);
    const bool isControl = static_cast<unsigned char>(byte) < ' ' && byte != '\n' && byte != '\t';
    xml += isControl ? replacement : name == names.end() ? std::string(1, byte) : name->second;
    const bool ends = xml.size() >= 3 && xml.compare(xml.size() - 3, 2, "\xEF\xBF") == 0;
    if (ends && (byte == '\xBE' || byte == '\xBF')) xml.back() = '\xBD';  // U+FFFE, U+FFFF
  }
  return xml;
}

std::string seconds(double value) {
  char string[32] = {};
  std::snprintf(string, sizeof string, "%.3f", value);
  return string;
}

std::string attribute(const std::string& name, const std::string& value) {
  return " " + name + "=\"" + escaped(value) + "\"";
}

std::string element(const std::string& name, const std::string& content) {
  return content.empty() ? "" : "<" + name + ">" + escaped(content) + "</" + name + ">\n";
}

std::string testCase(const ScenarioResult& result) {
  std::string xml = "<testcase" + attribute("classname", "substitute-host") +
                    attribute("name", result.name) + attribute("time", seconds(result.seconds)) +
                    ">\n";
  if (!result.passed()) {
    xml += (result.isCutOff ? "<error" : "<failure") + attribute("message", result.reason) + "/>\n";
  }
  return xml + element("system-out", result.output) + element("system-err", result.errors) +
         "</testcase>\n";
}

}  // namespace

std::string toJUnit(const std::vector<ScenarioResult>& results) {
  int failures = 0;
  int errors = 0;
  double time = 0;
  std::string cases;
  for (const ScenarioResult& result : results) {
    if (!result.passed()) ++(result.isCutOff ? errors : failures);
    time += result.seconds;
    cases += testCase(result);
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n<testsuite" +
         attribute("name", "substitute-host") + attribute("tests", std::to_string(results.size())) +
         attribute("failures", std::to_string(failures)) +
         attribute("errors", std::to_string(errors)) + attribute("time", seconds(time)) + ">\n" +
         cases + "</testsuite>\n</testsuites>\n";
}

ResultsFile::ResultsFile(std::string path) : path_(std::move(path)) {
  write();
}

void ResultsFile::add(const ScenarioResult& result) {
  if (path_.empty()) return;
  results_.push_back(result);
  write();
}

void ResultsFile::write() const {
  if (path_.empty()) return;
  const std::string xml = toJUnit(results_);  // can take long: until then the file stays as it is
  std::ofstream file(path_, std::ios::binary);
  file << xml;
  if (!file.flush()) throw UsageError("the results cannot be written to " + path_, "--junit");
}

}  // namespace substitute
