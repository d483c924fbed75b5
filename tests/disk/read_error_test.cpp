// An info file that can be read up to a place and no further. This program's own function takes the
// place of the one that the C++ library reads with: it gives a part of the file and then fails.
//
// The C++ libraries differ there. To libstdc++ the line that is cut short is an error, and it is
// lost. To libc++ the error is the end of the file, and what has been read of the line stays.
#include <dlfcn.h>
#include <unistd.h>

#include "tests/AddInFixture.h"

namespace {

std::optional<std::size_t> readable;  // how many bytes can still be read, while reads fail
int reads = 0;

// How many of `size` bytes the next read gives; none: it fails.
std::size_t next(std::size_t size) {
  ++reads;
  const std::size_t part = std::min(size, *readable);
  *readable -= part;
  return part;
}

}  // namespace

#ifdef _LIBCPP_VERSION
constexpr bool keepsTheCutLine = true;

extern "C" __attribute__((visibility("default"))) size_t fread(void* bytes, size_t size,
                                                               size_t count, FILE* file) {
  static const auto system = reinterpret_cast<decltype(&fread)>(dlsym(RTLD_NEXT, "fread"));
  return system(bytes, 1, readable ? next(size * count) : size * count, file) / size;
}
#else
constexpr bool keepsTheCutLine = false;

extern "C" __attribute__((visibility("default"))) ssize_t read(int file, void* bytes, size_t size) {
  static const auto system = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
  if (!readable) return system(file, bytes, size);
  const std::size_t part = next(size);
  if (part != 0) return system(file, bytes, part);
  errno = EIO;
  return -1;
}
#endif

namespace {

class InfoFileReadError : public AddInFixture {};

TEST_F(InfoFileReadError, KeepsTheLinesBeforeAndWhatTheLibraryMakesOfTheCutOne) {
  std::string lines;
  while (lines.size() < 10'000) lines += "a line that is carried along\n";
  const struct {
    std::string read;
    std::string rest;
    std::int32_t count;
    std::string after;
  } files[] = {
      {"16.11.2026\n7\n" + lines, "more\n", 7, "16.11.2026\n8\n" + lines},
      {"16.11.2026\n7\nab", "cd\n", 7, keepsTheCutLine ? "16.11.2026\n8\nab\n" : "16.11.2026\n8\n"},
      {"16.11.2026\n123", "45\n", keepsTheCutLine ? 123 : 0,
       keepsTheCutLine ? "16.11.2026\n124\n" : "16.11.2026\n1\n"},
      {"16.11", ".2026\n5\n", 0, keepsTheCutLine ? "16.11\n1\n" : "1\n"},
  };
  load();
  for (const auto& [read, rest, count, after] : files) {
    writeFile(infoFile, read + rest);
    reads = 0;
    readable = read.size();
    EXPECT_EQ(AutoOpenPalette(), count);
    readable.reset();
    EXPECT_GE(reads, 2) << "no read failed";
    EXPECT_EQ(readFile(infoFile), after);
  }
}

}  // namespace
