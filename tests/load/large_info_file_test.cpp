// An info file that is larger than anybody's.
#include "tests/AddInFixture.h"

namespace {

class LargeInfoFile : public AddInFixture {
 protected:
  // One start over `before`. Not EXPECT_EQ, which would print both files.
  void expectUpdate(const std::string& before, std::int32_t count, const std::string& after) {
    writeFile(infoFile, before);
    EXPECT_EQ(AutoOpenPalette(), count);
    EXPECT_TRUE(readFile(infoFile) == after);
  }

  const std::string tenMegabytes = std::string(10'000'000, '7');
};

TEST_F(LargeInfoFile, OfManyLinesIsCarriedAlong) {
  std::string lines;
  for (int i = 0; i < 100'000; ++i) lines += std::to_string(i) + std::string(90, '.') + '\n';
  expectUpdate("16.11.2026\n3\n" + lines + "end", 3, "16.11.2026\n4\n" + lines + "end\n");
}

TEST_F(LargeInfoFile, WithoutALineEndIsOneLine) {
  expectUpdate(tenMegabytes, 0, tenMegabytes + "\n1\n");
}

TEST_F(LargeInfoFile, OfDigitsIsNoCounter) {
  expectUpdate("16.11.2026\n" + tenMegabytes, 0, "16.11.2026\n1\n");
}

}  // namespace
