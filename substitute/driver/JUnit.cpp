#include "substitute/driver/JUnit.h"

#include <algorithm>
#include <cstdio>

#include "substitute/api/Trace.h"

namespace substitute {

namespace {

// `bytes` escaped for XML, in attributes and in text.
std::string escaped(const std::string& bytes) {
  // What is not UTF-8 is replaced as in the trace.
  const std::string string = Json::parse(line(Json(bytes)));
  std::string xml;
  for (const char byte : string) {
    switch (byte) {
      case '&':
        xml += "&amp;";
        break;
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      case '"':
        xml += "&quot;";
        break;
      case '\n':
      case '\t':
        xml += byte;
        break;
      default:
        if (static_cast<unsigned char>(byte) < ' ') {
          xml += "\xEF\xBF\xBD";
        } else {
          xml += byte;
        }
    }
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
    xml += "<failure" + attribute("message", result.reason()) + "/>\n";
  }
  return xml + element("system-out", result.output) + element("system-err", result.errors) +
         "</testcase>\n";
}

}  // namespace

std::string toJUnit(const std::vector<ScenarioResult>& results) {
  const auto failures = std::count_if(results.begin(), results.end(),
                                      [](const ScenarioResult& one) { return !one.passed(); });
  double time = 0;
  std::string cases;
  for (const ScenarioResult& result : results) {
    time += result.seconds;
    cases += testCase(result);
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n<testsuite" +
         attribute("name", "substitute-host") + attribute("tests", std::to_string(results.size())) +
         attribute("failures", std::to_string(failures)) + attribute("errors", "0") +
         attribute("time", seconds(time)) + ">\n" + cases + "</testsuite>\n</testsuites>\n";
}

}  // namespace substitute
