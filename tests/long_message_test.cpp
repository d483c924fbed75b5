// A message of the page that is longer than any that the page sends.
#include <unistd.h>

#include "tests/AddInFixture.h"

namespace {

class LongMessage : public AddInFixture {
 protected:
  // What `open` is given for a message whose target has `size` characters; it runs once or never.
  std::vector<std::vector<std::string>> opened(std::size_t size) {
    EXPECT_TRUE(host->message("teachPalete", '"' + std::string(size, 'x') + '"'));
    return runsOfOpen();
  }
};

// The shell gets the command as one argument, and the system sets an end to those: 32 pages, the
// closing zero included. A longer message opens nothing, and nobody is told.
TEST_F(LongMessage, LongerThanAnArgumentOpensNothing) {
  const std::size_t argument = 32 * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t longest = argument - sizeof "open ";
  ASSERT_EQ(start(), true);
  EXPECT_TRUE(opened(longest).at(0).at(0) == std::string(longest, 'x'));
  EXPECT_EQ(opened(longest + 1).size(), 1U);
  EXPECT_EQ(opened(10'000'000).size(), 1U);
  for (const std::string& call : calls()) EXPECT_NE(call.rfind("threw ", 0), 0U) << call;
  // The next message is heard as ever.
  EXPECT_EQ(opened(5).size(), 2U);
  EXPECT_EQ(stop(), true);
}

}  // namespace
