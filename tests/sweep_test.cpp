// --sweep: a scenario in which every call of the host fails once, in each way.
#include "tests/HostProgram.h"

namespace {

class Sweep : public HostProgram {
 protected:
  static long count(const std::string& text, const std::string& part) {
    long found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
  }
};

}  // namespace

TEST_F(Sweep, EveryCallFailsOnceInEachWay) {
  play("start\nstop\n", "--trace t");
  const long calls = count(readFile(folder.path() + "/t"), "{\"op\":");
  const Result result = play("start\nstop\n", "--sweep --junit r.xml -j 2");
  EXPECT_EQ(result.status, 3);
  const std::string xml = readFile(folder.path() + "/r.xml");
  EXPECT_EQ(count(xml, "<testcase "), 1 + 2 * calls);
  EXPECT_EQ(count(xml, "name=\"s: fail Palettes.itemById 2 throw\""), 1) << xml;
  expectLine(result.output, "failed: fail Application.preferences 1 null: ended by SIGABRT\n");
  expectLine(result.output, "differs: fail Toolbars.itemById 1 null: run returned false\n");
  expectLine(result.output,
             "differs: fail Palettes.add 1 throw: An exception left the add-in: "
             "std::runtime_error\n");
  expectLine(result.output,
             "failed: fail Palettes.itemById 2 null: The add-in left in the host: "
             "Palette:teachPalete\n");
  const long differ = count(result.output, "differs: ");
  const long failed = count(result.output, "failed: ");
  EXPECT_EQ(count(xml, "<failure "), failed);
  EXPECT_EQ(result.lastLine(), "s: " + std::to_string(2 * calls) + " runs with a failing call, " +
                                   std::to_string(2 * calls - differ - failed) +
                                   " as without it, " + std::to_string(differ + failed) +
                                   " otherwise, " + std::to_string(failed) + " failed\n");
  EXPECT_EQ(play("start\nstop\n", "--sweep").output, result.output);
}

TEST_F(Sweep, AllowAcceptsOutcomes) {
  EXPECT_EQ(play("start\nstop\n", "--sweep --allow signal").status, 3);
  EXPECT_EQ(play("start\nstop\n", "--sweep --allow leftover").status, 3);
  const Result result = play("start\nstop\n", "--sweep --allow signal,leftover");
  EXPECT_EQ(result.status, 0);
  expectLine(result.output, "differs: fail Application.preferences 1 null: ended by SIGABRT\n");
}

TEST_F(Sweep, AHangFails) {
  const Result result = playWith("hang when refused", "start\nstop\n", "--sweep --timeout 1");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output,
             "failed: fail ApplicationEvent.add 2 null: exit status 4: a call of the add-in took "
             "longer than --timeout\n");
  EXPECT_EQ(playWith("hang when refused", "start\nstop\n",
                     "--sweep --timeout 1 --allow timeout,signal,leftover")
                .status,
            0);
}

TEST_F(Sweep, WhatIsLeftWithoutAFailureIsNoDifference) {
  const Result result = playWith("keep a reference", "start\nstop\n", "--sweep --allow signal");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(count(result.output, "null: The add-in left 1 reference"), 0) << result.output;
}

TEST_F(Sweep, AScenarioThatFailsByItselfIsNotSwept) {
  const Result result = play("start\nexpect /run false\n", "--sweep");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.output.rfind("s fails by itself: s:2: expected /run false, found true\n", 0), 0U)
      << result.output;
  EXPECT_EQ(count(result.output, "fail "), 0) << result.output;
}

TEST_F(Sweep, AScenarioWithoutACallFails) {
  const Result result = play("offline\n", "--sweep");
  EXPECT_EQ(result.status, 3);
  expectLine(result.output, "s fails by itself: it makes no call of the host\n");
}
