// The folders of hosts that run at the same time, and input and output that come and go meanwhile.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/HostProgram.h"

namespace fs = std::filesystem;

using RunningHost = HostProgram;

TEST_F(RunningHost, RemovesWhatADeadOneLeftAndNothingElse) {
  const std::string dead = folder.path() + "/tmp/velorin-host-dead";
  const std::string living = folder.path() + "/tmp/velorin-host-living";
  const std::string users = folder.path() + "/tmp/velorin-host-notes";
  for (const std::string& one : {dead, living, users}) fs::create_directory(one);
  for (const std::string& one : {dead, living}) writeFile(one + "/.temporary", "");
  writeFile(dead + "/open", "");
  const int lock = open(living.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  EXPECT_EQ(run("-", "start\n").status, 0);
  EXPECT_FALSE(fs::exists(dead));
  EXPECT_TRUE(fs::exists(living));
  EXPECT_TRUE(fs::exists(users));
  close(lock);
}

// A host that starts does not remove the folder of one that runs.
TEST_F(RunningHost, KeepsItsFolderWhenAnotherStarts) {
  const Input first = start("-");
  first.write("start\n");
  waitFor("run returned true.");
  EXPECT_EQ(run("-", "start\nmessage \"a\"\n").status, 0);
  const fs::directory_iterator folders(folder.path() + "/tmp");
  EXPECT_EQ(std::distance(begin(folders), end(folders)), 2);  // the data's and that of `open`
  first.write("message \"b\"\nstop\n");
  waitFor("stop returned true.");
  waitFor("open ran with 1 argument: \"b\".");
}

TEST_F(RunningHost, IsNamedToAnotherOfTheSameFolder) {
  const std::string data = folder.path() + "/data";
  {
    const Input other = start("--data '" + data + "' -");
    other.write("offline\n");
    waitFor("The host is offline.");
    const Result result = run("--data '" + data + "' -", "online\n");
    EXPECT_EQ(result.output, "Another host is using " + data + ".\n> online\n");
    EXPECT_EQ(result.status, 0);
  }
  EXPECT_EQ(run("--data '" + data + "' -", "online\n").output, "> online\n");
}

TEST_F(RunningHost, ReportsLostOutput) {
  writeFile(folder.path() + "/s", "offline\n");
  for (const char* const arguments : {"s", "--junit r s", "s s"}) {
    const int status = system((command(arguments) + " >/dev/full 2>err").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 2) << arguments;
    EXPECT_EQ(readFile(folder.path() + "/err"),
              "substitute-host: the output could not be written in full.\n");
  }
}
