// The loader for macOS code, tested from within such code: what it refuses, how it loads and
// unloads.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/TemporaryFolder.h"

// Defined in the library, too; they share one.
inline int shared = 0;

namespace {

using Names = std::vector<std::string>;

template <typename Function>
Function functionIn(void* library, const char* name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

class MacLoader : public testing::Test {
 protected:
  MacLoader() {
    std::ifstream file(VELORIN_LOADED, std::ios::binary);
    bytes_ = {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // The library with another number at a place of the file.
  std::string changed(std::size_t place, std::uint32_t number) const {
    std::string bytes = bytes_;
    std::memcpy(&bytes[place], &number, sizeof(number));
    return bytes;
  }
  // The library with one text in the place of another, of the same length.
  std::string changed(const std::string& text, const std::string& other) const {
    std::string bytes = bytes_;
    for (auto at = bytes.find(text); at != std::string::npos; at = bytes.find(text)) {
      bytes.replace(at, text.size(), other);
    }
    return bytes;
  }
  std::uint32_t numberAt(std::size_t place) const {
    std::uint32_t number = 0;
    std::memcpy(&number, &bytes_[place], sizeof(number));
    return number;
  }

  // Writes a file of these bytes.
  std::string file(const std::string& bytes) const {
    const std::string path = folder_.path() + "/changed";
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  void expectRefused(const std::string& bytes, const std::string& sentence) const {
    const std::string path = file(bytes);
    EXPECT_EQ(dlopen(path.c_str(), RTLD_NOW), nullptr);
    EXPECT_EQ(std::string(dlerror()), path + " " + sentence);
  }

  // The loader, told to run that file, ends with this sentence.
  static void expectNoProgram(const std::string& path, const std::string& sentence,
                              const std::string& options = "") {
    const std::string command = "qemu-aarch64 " + options + " " VELORIN_LOADER " " + path + " 2>&1";
    FILE* const output = popen(command.c_str(), "r");
    std::string said;
    for (int c = std::getc(output); c != EOF; c = std::getc(output)) said += static_cast<char>(c);
    const int status = pclose(output);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_EQ(said, "macos-loader: " + path + " " + sentence + ".\n");
  }

  std::string bytes_;  // of the library

 private:
  TemporaryFolder folder_;
};

TEST_F(MacLoader, RefusesWhatIsNoProgram) {
  expectNoProgram("/nowhere/program", "cannot be read: No such file or directory");
  expectNoProgram(file("#!/bin/sh\necho\n"), "is no 64-bit Mach-O file");
  expectNoProgram(VELORIN_LOADED, "is a library, not a program");
}

TEST_F(MacLoader, RefusesAFileThatIsCutOff) {
  expectRefused("", "is no 64-bit Mach-O file");
  for (const std::size_t size :
       {std::size_t{5}, std::size_t{40}, std::size_t{300}, bytes_.size() / 2, bytes_.size() - 1}) {
    expectRefused(bytes_.substr(0, size), "is cut off");
  }
}

TEST_F(MacLoader, RefusesADamagedLibrary) {
  constexpr std::size_t text = 32;  // the command of the first segment
  constexpr std::size_t firstSection = text + 72;
  const std::size_t lastSegment = bytes_.find("__LINKEDIT") - 8;
  std::size_t lists = text;
  while (numberAt(lists) != 0x80000022) lists += numberAt(lists + 4);
  const std::size_t rebasing = numberAt(lists + 8);
  const std::size_t binding = numberAt(lists + 16);
  const struct {
    const char* what;
    std::size_t place;
    std::uint32_t number;
    const char* sentence;
  } cases[] = {
      {"other magic number", 0, 0xfeedface, "is no 64-bit Mach-O file"},
      {"other processor", 4, 7, "is for another processor than arm64"},
      {"bundle", 12, 8, "is neither a program nor a library"},
      {"chained fixups", text, 0x80000034, "has the load command 52, which is not supported"},
      {"command without a size", text + 4, 0, "has an empty load command"},
      {"command that is too long", text + 4, 0x10000000, "is cut off"},
      {"segment of 4 GB", text + 36, 1, "does not fit into memory"},
      {"segment without room", text + 32, 8, "has a segment of an impossible size"},
      {"too many sections", text + 64, 100, "is cut off"},
      {"section elsewhere", firstSection + 36, 1, "has a section outside of its segment"},
      {"segment within a page", lastSegment + 24, numberAt(lastSegment + 24) + 8,
       "cannot be protected in memory: Invalid argument"},
      {"segment from behind the file", lastSegment + 44, 1, "is cut off"},
      {"list from behind the file", lists + 8, 0x10000000, "is cut off"},
      {"unknown rebasing", rebasing, 0x40, "is rebased in a way that is not supported"},
      {"rebasing of no segment", rebasing, 0x51, "binds outside of its segments"},
      {"rebasing of segment 15", rebasing, 0x2f, "binds in a segment that it does not have"},
      {"unknown binding", binding, 0xa0, "is bound in a way that is not supported"},
      {"name of library 15", binding, 0x9000401f, "binds to a library that it does not list"}};
  dlclose(dlopen(file(bytes_).c_str(), RTLD_NOW));  // a good one was there before
  for (const auto& [what, place, number, sentence] : cases) {
    SCOPED_TRACE(what);
    expectRefused(changed(place, number), sentence);
  }
  void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  EXPECT_EQ(dlclose(library), 0);
}

TEST_F(MacLoader, RefusesALibraryThatNeedsWhatIsMissing) {
  const std::string libcxx =
      std::filesystem::path(VELORIN_LOADED).replace_filename("libc++.1.dylib");
  expectRefused(changed("__ZNSt12length_errorD1Ev", "__ZNSt12length_errofD1Ev"),
                "needs the name __ZNSt12length_errofD1Ev, which " + libcxx + " lacks");
  expectRefused(changed("/libc++.1.", "/libc++.2."),
                "needs /usr/lib/libc++.2.dylib, which is missing");
}

TEST_F(MacLoader, RefusesWhatTheMemoryAtHandIsTooSmallFor) {
  const std::size_t lastSegment = bytes_.find("__LINKEDIT") - 8;
  expectNoProgram(file(changed(lastSegment + 32, 0xc0000000)), "does not fit into memory", "-R 1G");
}

void* doNothing(void*) {
  return nullptr;
}

TEST_F(MacLoader, EndsWithTheNameOfASystemFunctionThatItLacksWhenItIsCalled) {
  pthread_t thread;
  EXPECT_EXIT(pthread_create(&thread, nullptr, doNothing, nullptr), testing::ExitedWithCode(1),
              "macos-loader: the system function pthread_create is called and not supplied.");
}

TEST_F(MacLoader, DestroysALibrarysObjectsInReverseOrder) {
  for (const std::string name : {"object", "Object"}) {  // the files differ in this alone
    const std::string path = file(changed("second", name));
    void* const library = dlopen(path.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    Names destroyed;
    functionIn<void (*)(Names*)>(library, "setDestroyed")(&destroyed);
    ASSERT_EQ(dlopen(path.c_str(), RTLD_NOW), library);
    dlclose(library);
    EXPECT_EQ(destroyed, Names{}) << "it was opened twice";
    dlclose(library);
    dlclose(dlopen(path.c_str(), RTLD_NOW));  // loaded again, it knows nothing of `destroyed`
    EXPECT_EQ(destroyed, (Names{name, "first"}));
    EXPECT_EQ(dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
  }
}

TEST_F(MacLoader, SharesWhatBothDefine) {
  for (int time = 1; time <= 2; ++time) {
    void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(functionIn<int (*)()>(library, "count")(), 41);
    EXPECT_EQ(shared, time);
    dlclose(library);
  }
}

TEST_F(MacLoader, NamesTheLibraryAtAnAddress) {
  void* const library = dlopen(VELORIN_LOADED, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  Dl_info info{};
  ASSERT_NE(dladdr(static_cast<char*>(dlsym(library, "count")) + 4, &info), 0);
  EXPECT_STREQ(info.dli_fname, VELORIN_LOADED);
  dlclose(library);
  EXPECT_EQ(dladdr(&info, &info), 0);
}

}  // namespace
