// The add-in is loaded, used, stopped and unloaded many times in one process, which must not grow.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/AddInFixture.h"
#include "tests/load/ProcessResources.h"

namespace fs = std::filesystem;

namespace {

class ManyStarts : public AddInFixture {
 protected:
  ManyStarts() {
    // Unlike the recorder's, this record does not grow in the process's memory.
    const std::string open = folder.path() + "/open";
    writeFile(open, "#!/bin/sh\nprintf '%s\\n' \"$1\" >>\"$0.runs\"\n");
    fs::permissions(open, fs::perms::owner_all);
    substitute::Settings settings = host->settings();
    settings.offline = true;
    install(settings);
    recordNothing();
    oldPath_ = std::getenv("PATH");
    setenv("PATH", (folder.path() + ":" + oldPath_).c_str(), 1);
  }
  ~ManyStarts() override { setenv("PATH", oldPath_.c_str(), 1); }

  // In turn, the palette is created by going online and by run; each tenth time by the click, since
  // the info file that this takes is written back to the disk.
  void runCycle(int number) {
    const bool byTheClick = number % 10 == 9;
    const bool byGoingOnline = !byTheClick && number % 2 == 0;
    fs::remove(infoFile);
    host->setOffline(byGoingOnline);
    ASSERT_EQ(byTheClick ? startAfter(4) : start(), true);
    ASSERT_EQ(learningPalette().is_null(), byGoingOnline || byTheClick);
    host->setOffline(!byGoingOnline);
    ASSERT_EQ(learningPalette().is_null(), byTheClick);
    ASSERT_EQ(host->click("runTeachPalette"), substitute::ClickResult::done);
    ASSERT_FALSE(learningPalette().is_null());
    ASSERT_TRUE(host->message("teachPalete", "\"https://learning.velorin.example/\""));
    host->setOffline(false);
    ASSERT_EQ(stop(), true);
    unload();
    ASSERT_EQ(substitute::resourceCounts().references, 0) << "in cycle " << number;
    ASSERT_EQ(substitute::resourceCounts().strings, 0) << "in cycle " << number;
    ASSERT_EQ(substitute::resourceCounts().invalidReleases, 0) << "in cycle " << number;
    ASSERT_EQ(substitute::resourceCounts().invalidDeallocations, 0) << "in cycle " << number;
  }

 private:
  std::string oldPath_;
};

TEST_F(ManyStarts, LeaveTheProcessAsItWas) {
  constexpr int warmUp = 100;
  constexpr int cycles = 900;
  for (int i = 0; i < warmUp; ++i) ASSERT_NO_FATAL_FAILURE(runCycle(i));
  const long objects = substitute::resourceCounts().objects;
  const ProcessResources before = processResources();
  for (int i = 0; i < cycles; ++i) ASSERT_NO_FATAL_FAILURE(runCycle(i));
  const ProcessResources after = processResources();
  std::cout << "before: " << before << "\nafter:  " << after << '\n';
  // Less than one byte for each cycle: any leak would be more.
  EXPECT_LT(after.heap, before.heap + cycles);
  EXPECT_LE(after.resident, before.resident + 512UL * 1024);
  EXPECT_EQ(after.files, before.files);
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.mappings, before.mappings);
  EXPECT_EQ(substitute::resourceCounts().objects, objects);

  std::size_t opened = 0;
  std::ifstream runs(folder.path() + "/open.runs");
  for (std::string target; std::getline(runs, target); ++opened) {
    ASSERT_EQ(target, "https://learning.velorin.example/");
  }
  EXPECT_EQ(opened, static_cast<std::size_t>(warmUp + cycles));
}

}  // namespace
