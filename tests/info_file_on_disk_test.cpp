// The start counter on a disk that does not do what it is asked to.
#include <dlfcn.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "tests/AddInFixture.h"
#include "tests/Child.h"
#include "tests/Clock.h"

namespace fs = std::filesystem;

namespace {

// While reads fail: how many bytes can still be read, and how many reads there were.
std::optional<std::size_t> readable;
int reads = 0;

// How many of `size` bytes the next read gives; none: it fails.
std::size_t next(std::size_t size) {
  ++reads;
  const std::size_t part = std::min(size, *readable);
  *readable -= part;
  return part;
}

}  // namespace

// This program's own function takes the place of the one that the C++ library reads with. The C++
// libraries differ in what they make of a failure: to libstdc++ the line that is cut short is an
// error, and it is lost; to libc++ the file ends there, and what has been read of the line stays.
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

class InfoFileOnDisk : public AddInFixture {
 protected:
  InfoFileOnDisk() {
    setClock = noonOf5March2026;
    AutoOpenPalette();  // a sanitizer checks each type once, for which it opens a file
  }
  ~InfoFileOnDisk() override {
    setClock.reset();
    fs::permissions(addinFolder, fs::perms(0777));
  }

  // A disk, and what starts of a user without rights of his own make of it.
  struct Disk {
    // The commands that make it, in an empty folder of the add-in that every user can write to.
    const char* made;
    std::vector<std::int32_t> counts;  // one for each start
    std::optional<std::string> after;  // none: there is no such file
  };

  // In the commands, `third FILE` makes an info file of the third start.
  void expectEach(const std::vector<Disk>& disks, const std::function<void()>& limit = {}) {
    for (const auto& [made, counts, after] : disks) {
      SCOPED_TRACE(made);
      fs::remove_all(addinFolder);
      fs::create_directory(addinFolder);
      const std::string shell = "chmod -R a+rX '" + folder.path() + "' && cd '" + addinFolder +
                                "' && chmod 777 . && "
                                "third() { printf '16.11.2026\\n3\\n' >$1 && chmod 666 $1; } && " +
                                made;
      ASSERT_EQ(std::system(shell.c_str()), 0);
      const bool isLink = fs::is_symlink(fs::symlink_status(infoFile));
      for (const std::int32_t count : counts) {
        EXPECT_EQ(inChild([&] {
                    becomeAnyUser();
                    if (limit) limit();
                    return AutoOpenPalette();
                  }),
                  count);
      }
      std::error_code none;
      fs::permissions(addinFolder, fs::perms(0777), none);
      fs::permissions(infoFile, fs::perms(0666), none);
      EXPECT_EQ(fs::is_symlink(fs::symlink_status(infoFile)), isLink);
      std::optional<std::string> left;
      if (fs::is_regular_file(infoFile, none)) left = readFile(infoFile);
      EXPECT_EQ(left, after);
    }
  }

  const std::string addinFolder = fs::path(infoFile).parent_path().string();
};

TEST_F(InfoFileOnDisk, FileThatCannotBeMadeLeavesEveryStartTheFirst) {
  expectEach({
      {"rmdir ../Velorin", {0, 0, 0}, {}},
      {"rmdir ../Velorin && touch ../Velorin", {0, 0, 0}, {}},
      {"chmod 555 .", {0, 0, 0}, {}},
      {"third Velorin_Info.txt && chmod 600 .", {0, 0, 0}, "16.11.2026\n3\n"},
      // It can be opened for reading; only the reading fails, so it counts as a file without lines.
      {"mkdir Velorin_Info.txt", {0, 0, 0}, {}},
      {"ln -s Velorin_Info.txt Velorin_Info.txt", {0, 0, 0}, {}},
  });
}

TEST_F(InfoFileOnDisk, FileThatCannotBeReadOrWrittenIsKept) {
  expectEach({
      {"third Velorin_Info.txt && chmod 444 *", {3, 3, 3}, "16.11.2026\n3\n"},
      {"third Velorin_Info.txt && chmod 222 *", {-1, -1, -1}, "16.11.2026\n3\n"},
  });
  const auto noFreeDescriptor = [] {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
  };
  expectEach({{"third Velorin_Info.txt", {-1, -1}, "16.11.2026\n3\n"}}, noFreeDescriptor);
}

TEST_F(InfoFileOnDisk, CountsInAReadOnlyFolderAndThroughALink) {
  expectEach({
      {"third Velorin_Info.txt && chmod 555 .", {3, 4}, "16.11.2026\n5\n"},
      {"third other && ln -s other Velorin_Info.txt", {3, 4}, "16.11.2026\n5\n"},
      {"ln -s other Velorin_Info.txt", {0, 1}, "05.03.2026\n2\n"},
  });
}

// The old content is given up before the new one is written, so what cannot be written is lost.
TEST_F(InfoFileOnDisk, KeepsWhatTheDiskTakes) {
  const auto noMoreThan = [](rlim_t bytes) {
    return [bytes] {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{bytes, RLIM_INFINITY};
      setrlimit(RLIMIT_FSIZE, &limit);
    };
  };
  expectEach({{"third Velorin_Info.txt", {3, 0, 0}, ""}}, noMoreThan(0));
  expectEach({{"third Velorin_Info.txt", {3}, "16.11"}, {"true", {0}, "05.03"}}, noMoreThan(5));
}

TEST_F(InfoFileOnDisk, ReadThatFailsKeepsTheLinesBeforeAndWhatTheLibraryMakesOfTheCutOne) {
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
