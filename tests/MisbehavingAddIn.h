// The fixture for tests that play scenarios with an add-in that does what none should
// (misbehaving.cpp).
#pragma once

#include <string>

#include "tests/HostProgram.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZED
#endif
#endif

class MisbehavingAddIn : public HostProgram {
 protected:
  // A scenario in the test's folder.
  void scenario(const std::string& name, const std::string& lines) {
    writeFile(folder.path() + "/" + name, lines);
  }

  // The add-in that ships plays `lines`, as the scenario "s".
  Result play(const std::string& lines, const std::string& options = "") {
    scenario("s", lines);
    // What the add-in leaves behind is for the host to tell, not for a sanitizer.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    Result result = runAsTyped(options + " s");
    unsetenv("ASAN_OPTIONS");
    return result;
  }

  // The misbehaving add-in does so. `misbehaviour` is the name of a row there, or empty.
  Result playWith(const std::string& misbehaviour, const std::string& lines,
                  const std::string& options = "") {
    setenv("MISBEHAVE", misbehaviour.c_str(), 1);
    Result result = play(lines, "--addin '" VELORIN_MISBEHAVING "' " + options);
    unsetenv("MISBEHAVE");
    return result;
  }

  // The message in r.xml for the first scenario in it that did not pass.
  std::string reasonInResults() const {
    const std::string xml = readFile(folder.path() + "/r.xml");
    const std::string before = "<failure message=\"";
    const auto found = xml.find(before);
    if (found == std::string::npos) return "none in " + xml;
    const auto begin = found + before.size();
    return xml.substr(begin, xml.find('"', begin) - begin);
  }
};
