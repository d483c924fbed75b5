// The loader for macOS code and the system functions that it supplies, tested from within such
// code.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
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
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/TemporaryFolder.h"
#include "tests/emulation/Loaded.h"

namespace {

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

struct Outcome {
  int status;
  std::string output;
};

// What the loader, told to run that file, prints, and its exit status.
Outcome load(const std::string& path) {
  const std::string libraries = std::filesystem::path(VELORIN_LOADED).parent_path();
  const std::string command =
      "DYLD_LIBRARY_PATH='" + libraries + "' qemu-aarch64 " VELORIN_LOADER " " + path + " 2>&1";
  FILE* const output = popen(command.c_str(), "r");
  Outcome outcome;
  for (int c = std::getc(output); c != EOF; c = std::getc(output)) {
    outcome.output += static_cast<char>(c);
  }
  const int status = pclose(output);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

class MacLoader : public testing::Test {
 protected:
  // A file of these bytes is refused with this sentence, by the loader and by dlopen.
  void expectRefused(const std::string& bytes, const std::string& sentence) {
    const std::string path = folder_.path() + "/changed";
    write(path, bytes);
    const Outcome outcome = load(path);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "macos-loader: " + path + " " + sentence + ".\n");
    EXPECT_EQ(dlopen(path.c_str(), RTLD_NOW), nullptr);
    EXPECT_EQ(std::string(dlerror()), path + " " + sentence);
  }

  const std::string library_ = bytesOf(VELORIN_LOADED);

 private:
  TemporaryFolder folder_;
};

TEST_F(MacLoader, RefusesWhatIsNoProgram) {
  const std::pair<const char*, const char*> files[] = {
      {"/nowhere/program", "cannot be read: No such file or directory"},
      {VELORIN_LOADED, "is a library, not a program"}};
  for (const auto& [file, sentence] : files) {
    const Outcome outcome = load(file);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, std::string("macos-loader: ") + file + " " + sentence + ".\n");
  }
}

TEST_F(MacLoader, RefusesWhatIsNoMachOFile) {
  for (const char* const bytes : {"", "#!", "#!/bin/sh\necho\n"}) {
    expectRefused(bytes, "is no 64-bit Mach-O file");
  }
}

TEST_F(MacLoader, RefusesAFileThatIsCutOff) {
  for (const std::size_t size : {std::size_t{5}, std::size_t{40}, std::size_t{300},
                                 library_.size() / 2, library_.size() - 1}) {
    expectRefused(library_.substr(0, size), "is cut off");
  }
}

TEST_F(MacLoader, RefusesAFileForAnotherProcessor) {
  std::string bytes = library_;
  bytes[4] = 7;
  expectRefused(bytes, "is for another processor than arm64");
}

TEST_F(MacLoader, RefusesALibraryThatNeedsAMissingName) {
  const std::string name = "__ZNSt12out_of_rangeD1Ev";
  const std::string missing = "__ZNSt12out_of_rangfD1Ev";
  std::string bytes = library_;
  for (auto at = bytes.find(name); at != std::string::npos; at = bytes.find(name)) {
    bytes.replace(at, name.size(), missing);
  }
  const std::string libcxx =
      std::filesystem::path(VELORIN_LOADED).replace_filename("libc++.1.dylib");
  expectRefused(bytes, "needs the name " + missing + ", which " + libcxx + " lacks");
}

void* doNothing(void*) {
  return nullptr;
}

TEST_F(MacLoader, EndsWithTheNameOfASystemFunctionThatItLacksWhenItIsCalled) {
  pthread_t thread;
  EXPECT_EXIT(pthread_create(&thread, nullptr, doNothing, nullptr), testing::ExitedWithCode(1),
              "macos-loader: the system function pthread_create is called and not supplied.");
}

template <typename Function>
Function functionIn(void* library, const char* name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

TEST_F(MacLoader, LetsAnExceptionOutOfALibrary) {
  void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto throwIt = functionIn<Throw>(library, "throwOutOfRange");
  try {
    throwIt("what");
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "what");
  }
  EXPECT_EQ(dlclose(library), 0);
}

TEST_F(MacLoader, DestroysALibrarysObjectsInReverseOrder) {
  void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  Names destroyed;
  functionIn<SetDestroyed>(library, "setDestroyed")(&destroyed);
  ASSERT_EQ(dlopen(VELORIN_LOADED, RTLD_NOW), library);
  dlclose(library);
  EXPECT_EQ(destroyed, Names{}) << "it was opened twice";
  dlclose(library);
  EXPECT_EQ(destroyed, (Names{"second", "first"}));
  EXPECT_EQ(dlopen(VELORIN_LOADED, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST_F(MacLoader, SharesWhatBothDefine) {
  for (int time = 1; time <= 2; ++time) {
    void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(functionIn<Count>(library, "count")(), 41);
    EXPECT_EQ(shared, time);
    dlclose(library);
  }
}

TEST_F(MacLoader, NamesASymbolByItsAddress) {
  void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  void* const address = dlsym(library, "count");
  Dl_info info{};
  ASSERT_NE(dladdr(static_cast<char*>(address) + 4, &info), 0);
  EXPECT_STREQ(info.dli_fname, VELORIN_LOADED);
  EXPECT_STREQ(info.dli_sname, "count");
  EXPECT_EQ(info.dli_saddr, address);
  dlclose(library);
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
  errno = 0;
  EXPECT_EQ(open((folder.path() + "/missing").c_str(), O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
  write(folder.path() + "/file", "");
  EXPECT_EQ(rmdir(folder.path().c_str()), -1);
  EXPECT_EQ(errno, ENOTEMPTY);
  EXPECT_EQ(open((folder.path() + "/file").c_str(), O_RDWR | O_CREAT | O_EXCL, 0600), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(open((folder.path() + "/file").c_str(), O_RDONLY | O_DIRECTORY), -1);
  EXPECT_EQ(errno, ENOTDIR);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(fcntl(ends[0], F_GETFL), O_NONBLOCK);
  EXPECT_STREQ(std::strerror(EAGAIN), "Resource temporarily unavailable");
  close(ends[0]);
  close(ends[1]);
}

TEST(MacSystem, DescribesAFile) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/file";
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0640);
  ASSERT_GE(file, 0);
  ASSERT_EQ(::write(file, "12345", 5), 5);
  struct stat open {};
  ASSERT_EQ(fstat(file, &open), 0);
  close(file);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  struct stat closed {};
  ASSERT_EQ(stat(path.c_str(), &closed), 0);
  EXPECT_EQ(closed.st_size, 5);
  EXPECT_TRUE(S_ISREG(closed.st_mode));
  EXPECT_EQ(closed.st_mode & 0777, 0640);
  EXPECT_EQ(closed.st_nlink, 1);
  EXPECT_EQ(closed.st_uid, geteuid());
  EXPECT_EQ(closed.st_ino, open.st_ino);
  EXPECT_GT(closed.st_mtimespec.tv_sec, 0);
  ASSERT_EQ(symlink(path.c_str(), (folder.path() + "/link").c_str()), 0);
  ASSERT_EQ(lstat((folder.path() + "/link").c_str(), &closed), 0);
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
}

volatile std::sig_atomic_t lastSignal = 0;

TEST(MacSystem, SendsTheAlarmInTime) {
  std::signal(SIGALRM, [](int number) { lastSignal = number; });
  EXPECT_EQ(alarm(100), 0U);
  EXPECT_GT(alarm(1), 1U);
  while (lastSignal != SIGALRM) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::signal(SIGALRM, SIG_DFL);
}

TEST(MacSystem, NumbersSignalsAsMacOSDoes) {
  std::signal(SIGUSR1, [](int number) { lastSignal = number; });
  ASSERT_EQ(std::raise(SIGUSR1), 0);
  EXPECT_EQ(lastSignal, SIGUSR1);
  std::signal(SIGUSR1, SIG_DFL);
  const pid_t child = fork();
  if (child == 0) {
    std::raise(SIGBUS);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGBUS);
  EXPECT_EQ(std::system("exit 3"), 3 << 8);
}

}  // namespace
