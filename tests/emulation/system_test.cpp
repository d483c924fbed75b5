// The system functions that the loader supplies to macOS code, tested from within such code.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mach-o/dyld.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "tests/TemporaryFolder.h"

namespace {

void write(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char* format, ...) {
  char buffer[200];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof(buffer), format, arguments);
  va_end(arguments);
  return buffer;
}

TEST(MacSystem, PrintsArgumentsOfEveryKind) {
  EXPECT_EQ(printed("%d %s %5.2f %c|%-4u|%lld", -1, "two", 3.0, '4', 5U, 6LL),
            "-1 two  3.00 4|5   |6");
  EXPECT_EQ(printed("%Lg %.*Lf %d", 0.5L, 2, 2.25L, 7), "0.5 2.25 7");
  EXPECT_EQ(printed("%%L %1$d", 1), "%L 1");
}

TEST(MacSystem, ReadsNumbersOfEveryKind) {
  int number = 0;
  double real = 0;
  long double longReal = 0;
  ASSERT_EQ(std::sscanf("12 0.5 0.25", "%d %lf %Lf", &number, &real, &longReal), 3);
  EXPECT_EQ(number, 12);
  EXPECT_EQ(real, 0.5);
  EXPECT_EQ(longReal, 0.25L);
  EXPECT_EQ(std::strtold("1.5", nullptr), 1.5L);
  std::istringstream stream("2.5");
  stream >> longReal;
  EXPECT_EQ(longReal, 2.5L);
}

TEST(MacSystem, TellsErrorsByMacOSsNumbers) {
  const TemporaryFolder folder;
  const std::string file = folder.path() + "/file";
  write(file, "");
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(fcntl(ends[0], F_GETFL), O_NONBLOCK);
  constexpr std::size_t tooMuch = std::size_t{1} << 60;
  char byte = 0;
  const struct {
    std::function<long()> call;
    int error;
  } cases[] = {
      {[&] { return open((file + ".missing").c_str(), O_RDONLY); }, ENOENT},
      {[&] { return rmdir(folder.path().c_str()); }, ENOTEMPTY},
      {[&] { return open(file.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600); }, EEXIST},
      {[&] { return open(file.c_str(), O_RDONLY | O_DIRECTORY); }, ENOTDIR},
      {[&] { return read(ends[0], &byte, 1); }, EAGAIN},
      {[&] { return isatty(ends[0]) - 1; }, ENOTTY},
      {[] { return sysconf(-1); }, EINVAL},
      {[] { return waitpid(getpid(), nullptr, 0); }, ECHILD},
      {[&] {
         void* const no = mmap(nullptr, tooMuch, PROT_READ, MAP_PRIVATE | MAP_ANON, -1, 0);
         return reinterpret_cast<long>(no);
       },
       ENOMEM},
  };
  for (const auto& [call, error] : cases) {
    errno = 0;
    EXPECT_EQ(call(), -1) << error;
    EXPECT_EQ(errno, error);
  }
  EXPECT_GT(sysconf(_SC_PAGESIZE), 0);
  EXPECT_STREQ(std::strerror(EAGAIN), "Resource temporarily unavailable");
  close(ends[0]);
  close(ends[1]);
}

TEST(MacSystem, DescribesAFile) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/file";
  write(path, "12345");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  struct stat closed {};
  ASSERT_EQ(stat(path.c_str(), &closed), 0);
  EXPECT_EQ(closed.st_size, 5);
  EXPECT_EQ(closed.st_mode, S_IFREG | 0640);
  EXPECT_EQ(closed.st_nlink, 1);
  EXPECT_EQ(closed.st_uid, geteuid());
  EXPECT_GT(closed.st_mtimespec.tv_sec, 0);
  const int file = open(path.c_str(), O_RDONLY);
  struct stat open {};
  ASSERT_EQ(fstat(file, &open), 0);
  close(file);
  EXPECT_EQ(closed.st_ino, open.st_ino);
  ASSERT_EQ(symlink(path.c_str(), (path + ".link").c_str()), 0);
  ASSERT_EQ(lstat((path + ".link").c_str(), &closed), 0);
  EXPECT_TRUE(S_ISLNK(closed.st_mode));
}

TEST(MacSystem, ListsAFolder) {
  const TemporaryFolder folder;
  write(folder.path() + "/a file with a name of some length", "");
  ASSERT_EQ(mkdir((folder.path() + "/folder").c_str(), 0700), 0);
  DIR* const open = opendir(folder.path().c_str());
  ASSERT_NE(open, nullptr);
  std::map<std::string, int> types;
  while (const dirent* const entry = readdir(open)) {
    EXPECT_EQ(std::string(entry->d_name).size(), entry->d_namlen);
    types[entry->d_name] = entry->d_type;
  }
  closedir(open);
  const std::map<std::string, int> expected = {{".", DT_DIR},
                                               {"..", DT_DIR},
                                               {"a file with a name of some length", DT_REG},
                                               {"folder", DT_DIR}};
  EXPECT_EQ(types, expected);
  EXPECT_EQ(std::filesystem::remove_all(folder.path()), 3U);
  EXPECT_NE(access(folder.path().c_str(), F_OK), 0);
}

TEST(MacSystem, KnowsTheKindsOfCharacters) {
  EXPECT_TRUE(std::isalpha('x'));
  EXPECT_FALSE(std::isalpha('7'));
  EXPECT_TRUE(std::isspace('\t'));
  EXPECT_EQ(std::toupper('x'), 'X');
  EXPECT_TRUE(std::iswpunct(L';'));
  const auto& types = std::use_facet<std::ctype<char>>(std::locale::classic());
  EXPECT_TRUE(types.is(std::ctype_base::xdigit, 'f'));
  EXPECT_FALSE(types.is(std::ctype_base::alpha, '\xe9'));
  EXPECT_STREQ(std::setlocale(LC_ALL, "C"), "C");
  EXPECT_EQ(std::setlocale(LC_ALL, "cs_CZ.UTF-8"), nullptr);
}

TEST(MacSystem, KeepsAFileOpenOnlyInThisProgram) {
  const int file = fileno(std::tmpfile());
  EXPECT_EQ(fcntl(file, F_GETFD), 0);
  ASSERT_EQ(fcntl(file, F_SETFD, FD_CLOEXEC), 0);
  EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(dup2(file, file + 1), F_GETFD), 0);
}

TEST(MacSystem, SleepsAsLongAsItsClockSays) {
  timespec before{};
  timespec after{};
  const timespec millisecond = {0, 1'000'000};
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &before), 0);
  ASSERT_EQ(nanosleep(&millisecond, nullptr), 0);
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &after), 0);
  EXPECT_GE((after.tv_sec - before.tv_sec) * 1'000'000'000 + after.tv_nsec - before.tv_nsec,
            millisecond.tv_nsec);
}

// --- Signals

volatile std::sig_atomic_t lastSignal = 0;

void keepSignal(int number) {
  lastSignal = number;
}

sigset_t setOf(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  return set;
}

// The signals that end nothing when they are handled, of which half have other numbers on Linux.
constexpr int signals[] = {SIGHUP,  SIGINT,  SIGBUS, SIGSYS,  SIGALRM, SIGTERM, SIGURG,  SIGTSTP,
                           SIGCONT, SIGCHLD, SIGIO,  SIGXCPU, SIGPROF, SIGINFO, SIGUSR1, SIGUSR2};

TEST(MacSystem, HandlesSignalsByMacOSsNumbers) {
  for (const int signal : signals) {
    EXPECT_EQ(std::signal(signal, keepSignal), SIG_DFL) << signal;
    ASSERT_EQ(std::raise(signal), 0);
    EXPECT_EQ(lastSignal, signal);
    EXPECT_EQ(std::signal(signal, SIG_DFL), keepSignal);
  }
}

TEST(MacSystem, KeepsWhatASignalDoes) {
  struct sigaction set = {};
  set.sa_handler = keepSignal;
  set.sa_mask = setOf(SIGUSR2);
  set.sa_flags = SA_RESTART | SA_RESETHAND | SA_NOCLDSTOP;
  ASSERT_EQ(sigaction(SIGUSR1, &set, nullptr), 0);
  struct sigaction told = {};
  ASSERT_EQ(sigaction(SIGUSR1, nullptr, &told), 0);
  EXPECT_EQ(told.sa_handler, keepSignal);
  EXPECT_EQ(told.sa_mask, set.sa_mask);
  EXPECT_EQ(told.sa_flags, set.sa_flags);
  ASSERT_EQ(std::raise(SIGUSR1), 0);
  ASSERT_EQ(sigaction(SIGUSR1, nullptr, &told), 0);
  EXPECT_EQ(told.sa_handler, SIG_DFL);
  EXPECT_EQ(sigaction(SIGKILL, &set, nullptr), -1);
}

TEST(MacSystem, BlocksSignals) {
  lastSignal = 0;
  std::signal(SIGUSR1, keepSignal);
  const sigset_t blocked = setOf(SIGUSR1);
  sigset_t before = 0;
  ASSERT_EQ(sigprocmask(SIG_BLOCK, &blocked, nullptr), 0);
  ASSERT_EQ(std::raise(SIGUSR1), 0);
  EXPECT_EQ(lastSignal, 0);
  ASSERT_EQ(sigprocmask(SIG_UNBLOCK, &blocked, &before), 0);
  EXPECT_EQ(before, blocked);
  EXPECT_EQ(lastSignal, SIGUSR1);
  const sigset_t none = 0;
  ASSERT_EQ(sigprocmask(SIG_SETMASK, &none, &before), 0);
  EXPECT_EQ(before, none);
  std::signal(SIGUSR1, SIG_DFL);
}

// The test runs itself once more, in a shell that ignores the signal.
TEST(MacSystem, SeesThatASignalIsIgnoredFromTheStart) {
  const std::string again =
      std::string("trap '' USR1; IGNORED=1 qemu-aarch64 " VELORIN_LOADER " ") +
      _dyld_get_image_name(0) + " --gtest_filter=*IsIgnoredFromTheStart*";
  if (std::getenv("IGNORED") == nullptr) {
    EXPECT_EQ(std::system(again.c_str()), 0);
    return;
  }
  struct sigaction told = {};
  ASSERT_EQ(sigaction(SIGUSR1, nullptr, &told), 0);
  EXPECT_EQ(told.sa_handler, SIG_IGN);
}

TEST(MacSystem, TellsHowTheShellEnded) {
  EXPECT_EQ(std::system("exit 3"), 3 << 8);
  EXPECT_EQ(std::system("kill -USR1 $$"), SIGUSR1);
}

// --- A child

// A child that leads a group of its own and has a pipe to its parent. It counts the bytes that it
// writes there in memory that both share.
class MacChild : public testing::Test {
 protected:
  MacChild() {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    void* const memory =
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANON, -1, 0);
    if (memory == MAP_FAILED) std::abort();
    written_ = static_cast<volatile int*>(memory);
    child_ = fork();
    if (child_ == 0) {
      setpgid(0, 0);
      ++*written_;
      ::write(ends[1], "x", 1);
      for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
    }
    close(ends[1]);
    from_.fd = ends[0];
    char byte = 0;
    if (read(from_.fd, &byte, 1) != 1) std::abort();
  }
  ~MacChild() override {
    kill(child_, SIGKILL);
    while (waitpid(child_, nullptr, 0) == child_) {
    }
    munmap(const_cast<int*>(written_), sizeof(int));
    close(from_.fd);
  }

  int await(int options) {
    int status = 0;
    EXPECT_EQ(waitpid(child_, &status, options), child_);
    return status;
  }

  pid_t child_ = -1;
  pollfd from_ = {-1, POLLIN, 0};  // the pipe
  volatile int* written_ = nullptr;
};

TEST_F(MacChild, RunsAsLongAsNothingEndsIt) {
  EXPECT_EQ(*written_, 1);
  EXPECT_EQ(getpgid(child_), child_);
  EXPECT_NE(getpgrp(), child_);
  EXPECT_EQ(waitpid(child_, nullptr, WNOHANG), 0);
  EXPECT_EQ(poll(&from_, 1, 0), 0);
  EXPECT_EQ(kill(-child_, 0), 0);
}

TEST_F(MacChild, StopsAndGoesOn) {
  for (const int signal : {SIGSTOP, SIGTSTP}) {
    ASSERT_EQ(kill(-child_, signal), 0);
    const int stopped = await(WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(stopped));
    EXPECT_EQ(WSTOPSIG(stopped), signal);
    ASSERT_EQ(kill(-child_, SIGCONT), 0);
  }
}

TEST_F(MacChild, IsEndedWithItsGroup) {
  ASSERT_EQ(kill(-child_, SIGUSR2), 0);
  EXPECT_EQ(poll(&from_, 1, -1), 1);
  EXPECT_EQ(from_.revents, POLLHUP);
  const int ended = await(0);
  EXPECT_TRUE(WIFSIGNALED(ended));
  EXPECT_EQ(WTERMSIG(ended), SIGUSR2);
  EXPECT_EQ(kill(-child_, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(MacChild, TellsItsEndBySIGCHLD) {
  std::signal(SIGCHLD, keepSignal);
  ASSERT_EQ(kill(child_, SIGKILL), 0);
  while (lastSignal != SIGCHLD) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace
