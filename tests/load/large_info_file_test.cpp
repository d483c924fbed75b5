// An info file that is larger than anybody's.
#include <cstddef>
#include <string>

#include "tests/AddInFixture.h"

namespace {

constexpr const char* day = "16.11.2026\n";

class LargeInfoFile : public AddInFixture {};

constexpr std::size_t tenMegabytes = 10'000'000;

TEST_F(LargeInfoFile, TenMegabytesOfLinesAreCarriedAlong) {
  std::string rest;
  rest.reserve(tenMegabytes);
  for (int i = 0; rest.size() < tenMegabytes - 100; ++i) {
    const std::string number = std::to_string(i);
    rest += number + std::string(99 - number.size(), '.') + '\n';
  }
  rest += std::string(tenMegabytes - rest.size(), '.');  // the last one without an end
  writeFile(infoFile, day + ("3\n" + rest));
  EXPECT_EQ(AutoOpenPalette(), 3);
  // Not EXPECT_EQ, which would print both.
  EXPECT_TRUE(readFile(infoFile) == day + ("4\n" + rest + "\n"));
}

TEST_F(LargeInfoFile, TenMegabytesWithoutALineEndAreOneLine) {
  const std::string content(tenMegabytes, '7');
  writeFile(infoFile, content);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_TRUE(readFile(infoFile) == content + "\n1\n");
  EXPECT_EQ(AutoOpenPalette(), 1);
}

TEST_F(LargeInfoFile, TenMegabytesOfDigitsAreNoCounter) {
  writeFile(infoFile, day + std::string(tenMegabytes, '7'));
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), day + std::string("1\n"));
}

}  // namespace
