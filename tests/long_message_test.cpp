// A message of the page that is longer than any that the page sends.
#include <unistd.h>

#include "tests/AddInFixture.h"

namespace {
class LongMessage : public AddInFixture {};
}  // namespace

// The shell gets the command as one argument, and the system sets an end to those: 32 pages, the
// closing zero included. A longer message opens nothing, and nobody is told.
TEST_F(LongMessage, LongerThanAnArgumentOpensNothing) {
  const std::size_t argument = 32 * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::string longest(argument - sizeof "open ", 'x');
  ASSERT_EQ(start(), true);
  for (const std::string& target : {longest, longest + "x", std::string(8'000'000, 'x')}) {
    EXPECT_TRUE(host->message("teachPalete", '"' + target + '"'));
  }
  ASSERT_EQ(runsOfOpen().size(), 1U);
  EXPECT_TRUE(runsOfOpen().at(0).at(0) == longest);
  EXPECT_EQ(monitor->thrown(), std::vector<std::string>());
}
