// An info file that breaks off while it is read: this program's own read, which the C++ library
// finds before the system's, gives a part of it and then fails.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>

#include "tests/AddInFixture.h"

namespace {

constexpr std::size_t part = 1000;
std::optional<int> readings;  // how many there have been, while they are counted

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void* bytes, size_t size) {
  static const auto system = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
  if (!readings) return system(file, bytes, size);
  if (++*readings == 1) return system(file, bytes, std::min(size, part));
  errno = EIO;
  return -1;
}

namespace {

class InfoFileThatBreaksOff : public AddInFixture {
 protected:
  std::int32_t updated(const std::string& text) {
    writeFile(infoFile, text);
    load();
    readings = 0;
    const std::int32_t count = AutoOpenPalette();
    EXPECT_GE(*readings, 2);
    readings.reset();
    return count;
  }
};

TEST_F(InfoFileThatBreaksOff, KeepsTheLinesBefore) {
  std::string lines;
  while (lines.size() < 2 * part) lines += "a line that is carried along\n";
  const std::string begin = "16.11.2026\n7\n";
  EXPECT_EQ(updated(begin + lines), 7);
  const std::string whole = lines.substr(0, lines.rfind('\n', part - begin.size() - 1) + 1);
  ASSERT_GT(whole.size(), part / 2);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n8\n" + whole);
}

TEST_F(InfoFileThatBreaksOff, WithinItsCounterHasNone) {
  EXPECT_EQ(updated("16.11.2026\n" + std::string(2 * part, '1') + "\n"), 0);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1\n");
}

TEST_F(InfoFileThatBreaksOff, WithinItsFirstLineIsEmpty) {
  EXPECT_EQ(updated(std::string(2 * part, 'x') + "\n5\n"), 0);
  EXPECT_EQ(readFile(infoFile), "1\n");
}

}  // namespace
