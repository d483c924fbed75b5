// The start counter on a disk that does not do what it is asked to.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <optional>
#include <regex>
#include <string>
#include <system_error>

#include "tests/AddInFixture.h"
#include "tests/Child.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* day = "16.11.2026\n";
constexpr const char* firstStart = "[0-9]{2}\\.[0-9]{2}\\.[0-9]{4}\n1";

class InfoFileOnDisk : public AddInFixture {
 protected:
  InfoFileOnDisk() {
    load();
    addinFolder = fs::path(infoFile).parent_path().string();
    openFolderToAll();
  }

  ~InfoFileOnDisk() override {
    std::error_code ignored;
    fs::permissions(addinFolder, fs::perms(0755), ignored);
  }

  // The result of one start's update by a user without rights of his own.
  std::optional<std::int32_t> updateAsAnyUser() {
    return inChild([this] {
      becomeAnyUser();
      return AutoOpenPalette();
    });
  }

  std::string addinFolder;
};

TEST_F(InfoFileOnDisk, MissingFolderMakesEveryStartTheFirst) {
  fs::remove(addinFolder);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_FALSE(fs::exists(addinFolder));
}

TEST_F(InfoFileOnDisk, FileInPlaceOfTheFolderMakesEveryStartTheFirst) {
  fs::remove(addinFolder);
  writeFile(addinFolder, "a file");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(addinFolder), "a file");
}

TEST_F(InfoFileOnDisk, ReadOnlyFolderMakesEveryStartTheFirst) {
  fs::permissions(addinFolder, fs::perms(0555));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(updateAsAnyUser(), 0);
  EXPECT_FALSE(fs::exists(infoFile));
}

TEST_F(InfoFileOnDisk, WritableFileInReadOnlyFolderCounts) {
  writeFile(infoFile, day + std::string("3\n"));
  fs::permissions(infoFile, fs::perms(0666));
  fs::permissions(addinFolder, fs::perms(0555));
  EXPECT_EQ(updateAsAnyUser(), 3);
  EXPECT_EQ(updateAsAnyUser(), 4);
  EXPECT_EQ(readFile(infoFile), day + std::string("5\n"));
}

TEST_F(InfoFileOnDisk, ReadOnlyFileGivesTheSameCountForEver) {
  writeFile(infoFile, day + std::string("3"));
  fs::permissions(infoFile, fs::perms(0444));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(updateAsAnyUser(), 3);
  EXPECT_EQ(readFile(infoFile), day + std::string("3"));
}

TEST_F(InfoFileOnDisk, UnreadableFileGivesMinusOneAndIsKept) {
  writeFile(infoFile, day + std::string("3\n"));
  fs::permissions(infoFile, fs::perms(0222));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(updateAsAnyUser(), -1);
  fs::permissions(infoFile, fs::perms(0644));
  EXPECT_EQ(readFile(infoFile), day + std::string("3\n"));
}

TEST_F(InfoFileOnDisk, FolderThatCannotBeSearchedHidesTheFile) {
  writeFile(infoFile, day + std::string("3\n"));
  fs::permissions(infoFile, fs::perms(0666));
  fs::permissions(addinFolder, fs::perms(0600));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(updateAsAnyUser(), 0);
  fs::permissions(addinFolder, fs::perms(0755));
  EXPECT_EQ(readFile(infoFile), day + std::string("3\n"));
}

TEST_F(InfoFileOnDisk, NoFreeFileDescriptorGivesMinusOneAndKeepsTheFile) {
  AutoOpenPalette();  // a sanitizer checks each type once, for which it opens a file
  writeFile(infoFile, day + std::string("3\n"));
  const auto result = inChild([this] {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    return AutoOpenPalette();
  });
  EXPECT_EQ(result, -1);
  EXPECT_EQ(readFile(infoFile), day + std::string("3\n"));
}

// A directory can be opened for reading; only the reading fails, so it counts as a file without
// lines.
TEST_F(InfoFileOnDisk, DirectoryInPlaceOfTheFileIsKept) {
  fs::create_directory(infoFile);
  writeFile(infoFile + "/inside", "kept");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile + "/inside"), "kept");
}

TEST_F(InfoFileOnDisk, LinkIsFollowedAndKept) {
  const std::string elsewhere = folder.path() + "/elsewhere";
  writeFile(elsewhere, day + std::string("3\n"));
  fs::create_symlink(elsewhere, infoFile);
  EXPECT_EQ(AutoOpenPalette(), 3);
  EXPECT_EQ(AutoOpenPalette(), 4);
  EXPECT_TRUE(fs::is_symlink(infoFile));
  EXPECT_EQ(readFile(elsewhere), day + std::string("5\n"));
}

TEST_F(InfoFileOnDisk, LinkToNothingIsFilledAtItsTarget) {
  const std::string elsewhere = folder.path() + "/elsewhere";
  fs::create_symlink(elsewhere, infoFile);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_TRUE(fs::is_symlink(infoFile));
  EXPECT_TRUE(std::regex_match(readFile(elsewhere), std::regex(firstStart)));
  EXPECT_EQ(AutoOpenPalette(), 1);
}

TEST_F(InfoFileOnDisk, LinkInACircleMakesEveryStartTheFirst) {
  fs::create_symlink(infoFile, infoFile);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_TRUE(fs::is_symlink(infoFile));
}

// The old content is given up before the new one is written, so what cannot be written is lost.
TEST_F(InfoFileOnDisk, RefusedWriteLosesTheCounter) {
  writeFile(infoFile, day + std::string("3\n"));
  const auto refused = [this] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{0, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &none);
    return AutoOpenPalette();
  };
  EXPECT_EQ(inChild(refused), 3);
  EXPECT_EQ(readFile(infoFile), "");
  // And as long as nothing can be written, the file stays empty.
  EXPECT_EQ(inChild(refused), 0);
  EXPECT_EQ(readFile(infoFile), "");
  // An empty file costs two further starts.
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), "1\n");
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), "1\n1\n");
  EXPECT_EQ(AutoOpenPalette(), 1);
}

TEST_F(InfoFileOnDisk, WriteThatBreaksOffLeavesWhatWasWritten) {
  const auto fiveBytes = [this] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{5, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    return AutoOpenPalette();
  };
  EXPECT_EQ(inChild(fiveBytes), 0);
  EXPECT_TRUE(std::regex_match(readFile(infoFile), std::regex("[0-9]{2}\\.[0-9]{2}")));
  writeFile(infoFile, day + std::string("3\n"));
  EXPECT_EQ(inChild(fiveBytes), 3);
  EXPECT_EQ(readFile(infoFile), "16.11");
}

// A file system of one page in the add-in's folder, seen by the child process alone.
class InfoFileOnFullDisk : public InfoFileOnDisk {
 protected:
  // 1 when all of `work` holds in there, 0 when not, -1 when this system lets nobody mount.
  void onDiskOfOnePage(const std::function<bool()>& work) {
    const auto result = inChild([&] {
      if (unshare(CLONE_NEWNS) != 0 && !enterOwnNamespace()) return -1;
      if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return -1;
      const std::string size = "size=" + std::to_string(page);
      if (mount("tmpfs", addinFolder.c_str(), "tmpfs", 0, size.c_str()) != 0) return -1;
      const std::string probe = addinFolder + "/probe";
      if (!(std::ofstream(probe) << "written" << std::flush) || !fs::remove(probe)) return -1;
      const bool holds = work();
      std::cout << std::flush;
      return holds && !HasFailure() ? 1 : 0;
    });
    if (result == -1) GTEST_SKIP() << "this system lets the test mount nothing";
    EXPECT_EQ(result, 1);
  }

  // For who is not root: a namespace in which this user is. False where that is not allowed.
  static bool enterOwnNamespace() {
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    const auto tell = [](const char* file, const std::string& text) {
      return static_cast<bool>(std::ofstream(file) << text << std::flush);
    };
    return tell("/proc/self/setgroups", "deny") && tell("/proc/self/uid_map", user) &&
           tell("/proc/self/gid_map", group);
  }

  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
};

TEST_F(InfoFileOnFullDisk, FirstStartLeavesAnEmptyFileUntilThereIsRoom) {
  onDiskOfOnePage([this] {
    const std::string filler = addinFolder + "/filler";
    writeFile(filler, std::string(page, 'x'));
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(AutoOpenPalette(), 0);
      EXPECT_EQ(readFile(infoFile), "");
    }
    fs::remove(filler);
    EXPECT_EQ(AutoOpenPalette(), 0);
    EXPECT_EQ(readFile(infoFile), "1\n");
    EXPECT_EQ(AutoOpenPalette(), 0);
    EXPECT_EQ(AutoOpenPalette(), 1);
    EXPECT_EQ(readFile(infoFile), "1\n2\n");
    return true;
  });
}

TEST_F(InfoFileOnFullDisk, CounterIsKeptInTheRoomThatItHas) {
  onDiskOfOnePage([this] {
    writeFile(infoFile, day + std::string("3\n"));
    EXPECT_EQ(AutoOpenPalette(), 3);
    EXPECT_EQ(AutoOpenPalette(), 4);
    EXPECT_EQ(readFile(infoFile), day + std::string("5\n"));
    return true;
  });
}

TEST_F(InfoFileOnFullDisk, FileThatOutgrowsTheDiskLosesItsEnd) {
  onDiskOfOnePage([this] {
    std::string content = day + std::string("9\n");
    content += std::string(page - content.size() - 1, 'x') + '\n';
    writeFile(infoFile, content);
    EXPECT_EQ(AutoOpenPalette(), 9);
    content.replace(std::strlen(day), 1, "10");
    EXPECT_EQ(readFile(infoFile), content.substr(0, page));
    EXPECT_EQ(AutoOpenPalette(), 10);
    return true;
  });
}

}  // namespace
