// The start counter on a disk that does not do what it is asked to.
#include <sys/resource.h>

#include <csignal>

#include "tests/AddInFixture.h"
#include "tests/Child.h"
#include "tests/Clock.h"

namespace fs = std::filesystem;

namespace {

const std::string day = "16.11.2026\n";

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
    const char* name;
    std::function<void()> prepare;
    std::vector<std::int32_t> counts;  // one for each start
    std::optional<std::string> after;  // none: there is no such file
  };

  void expectEach(const std::vector<Disk>& disks, const std::function<void()>& limit = {}) {
    for (const auto& [name, prepare, counts, after] : disks) {
      SCOPED_TRACE(name);
      prepareFolder();
      if (prepare) prepare();
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

  // An info file of the third start in which the user may do what `rights` says.
  void thirdStart(const std::string& file, unsigned rights = 0666) {
    writeFile(file, day + "3\n");
    fs::permissions(file, fs::perms(rights));
  }

  const std::string addinFolder = fs::path(infoFile).parent_path().string();
  const std::string elsewhere = addinFolder + "/elsewhere";

 private:
  // An empty folder of the add-in that every user can reach and write to.
  void prepareFolder() {
    fs::remove_all(addinFolder);
    fs::create_directory(addinFolder);
    fs::permissions(addinFolder, fs::perms(0777));
    for (fs::path way = addinFolder; way != fs::path(folder.path()).parent_path();) {
      way = way.parent_path();
      fs::permissions(way, fs::perms(0755));
    }
  }
};

TEST_F(InfoFileOnDisk, FileThatCannotBeMadeLeavesEveryStartTheFirst) {
  expectEach({
      {"no folder", [this] { fs::remove(addinFolder); }, {0, 0, 0}, {}},
      {"a file in place of the folder",
       [this] {
         fs::remove(addinFolder);
         writeFile(addinFolder, "a file");
       },
       {0, 0, 0},
       {}},
      {"a folder that is read-only",
       [this] { fs::permissions(addinFolder, fs::perms(0555)); },
       {0, 0, 0},
       {}},
      {"a folder that cannot be searched",
       [this] {
         thirdStart(infoFile);
         fs::permissions(addinFolder, fs::perms(0600));
       },
       {0, 0, 0},
       day + "3\n"},
      // It can be opened for reading; only the reading fails, so it counts as a file without lines.
      {"a directory in place of the file",
       [this] { fs::create_directory(infoFile); },
       {0, 0, 0},
       {}},
      {"a link in a circle", [this] { fs::create_symlink(infoFile, infoFile); }, {0, 0, 0}, {}},
  });
}

TEST_F(InfoFileOnDisk, FileThatCannotBeReadOrWrittenIsKept) {
  expectEach({
      {"read-only", [this] { thirdStart(infoFile, 0444); }, {3, 3, 3}, day + "3\n"},
      {"write-only", [this] { thirdStart(infoFile, 0222); }, {-1, -1, -1}, day + "3\n"},
  });
  const auto noFreeDescriptor = [] {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
  };
  expectEach({{"no descriptor", [this] { thirdStart(infoFile); }, {-1, -1}, day + "3\n"}},
             noFreeDescriptor);
}

TEST_F(InfoFileOnDisk, CountsInAReadOnlyFolderAndThroughALink) {
  expectEach({
      {"a read-only folder",
       [this] {
         thirdStart(infoFile);
         fs::permissions(addinFolder, fs::perms(0555));
       },
       {3, 4},
       day + "5\n"},
      {"a link",
       [this] {
         thirdStart(elsewhere);
         fs::create_symlink(elsewhere, infoFile);
       },
       {3, 4},
       day + "5\n"},
      {"a link to nothing",
       [this] { fs::create_symlink(elsewhere, infoFile); },
       {0, 1},
       "05.03.2026\n2\n"},
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
  const auto prepare = [this] { thirdStart(infoFile); };
  expectEach({{"no byte", prepare, {3, 0, 0}, ""}}, noMoreThan(0));
  expectEach({{"five bytes", prepare, {3}, "16.11"}, {"of a new file", {}, {0}, "05.03"}},
             noMoreThan(5));
}

}  // namespace
