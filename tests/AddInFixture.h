// The fixture for tests of the add-in: a substitute host in a temporary folder, the library that
// ships, and a record of every call of the host.
#pragma once

#include <Core/CoreAll.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Velorin.h"
#include "tests/TemporaryFolder.h"

// The library under test: VELORIN_ADDIN where that is set, else the built one.
std::string addinFile();

// What a test reads and writes on the disk.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

// The state of a process, a letter as in /proc; empty when there is none.
std::string stateOf(pid_t process);

// Gives up being root in this process, if it is: root may read and write everything. For child
// processes; ends the process when it cannot.
void becomeAnyUser();

// A host with the add-in's folder in place; the library is loaded on first use.
class AddInFixture : public testing::Test {
 protected:
  using Calls = std::vector<std::string>;

  AddInFixture();
  // Unloads the add-in and expects that it holds nothing of the host.
  ~AddInFixture() override;

  // A new host in place of the first one. The add-in holds nothing of that one.
  void install(substitute::Settings settings);

  // Ends the recording of calls and of `open`, which take more memory with each call.
  void recordNothing();

  void load();
  void unload();

  // Calls run, after `starts` earlier starts where that is given. The result of run, or nothing
  // when an exception left it; the same for stop.
  std::optional<bool> start();
  std::optional<bool> startAfter(int starts);
  std::optional<bool> stop();

  // What the host was asked since the last call of calls(), and what came from outside, as code:
  //   Palette:teachPalete.isVisible(true) = true
  Calls calls();

  // `call` uses an empty handle: it ends the process with the host's assertion.
  void expectFatal(const std::function<void()>& call);

  // The next call of `operation` returns nothing.
  void fail(const std::string& operation);

  // The host's palette "teachPalete" in its state; null when there is none.
  substitute::Json learningPalette();
  substitute::Json state() { return monitor->state(); }

  // The arguments of each run of `open` so far.
  const substitute::Json& runsOfOpen() { return monitor->opened(); }

  // The add-in's functions.
  bool OpenPalette() { return function<bool()>("_Z11OpenPalettev")(); }
  std::int32_t AutoOpenPalette() { return function<std::int32_t()>("_Z15AutoOpenPalettev")(); }
  std::string GetExecutableDirectory() {
    return function<std::string()>("_Z22GetExecutableDirectory" + returnsText)();
  }
  std::string SetAddinLocation(const std::string& path) {
    return function<std::string(std::string)>("_Z16SetAddinLocation" + narrowText)(path);
  }
  bool FileExists(const std::string& path) {
    return function<bool(const std::string&)>("_Z10FileExistsRK" + narrowText)(path);
  }
  std::string ws2s(const std::wstring& wide) {
    return function<std::string(const std::wstring&)>("_Z4ws2sRK" + wideText)(wide);
  }
  std::string datetime() { return function<std::string()>("_Z8datetime" + returnsText)(); }

  // The same by its C++ name, for as long as the library is loaded.
  template <class Signature>
  Signature* function(const std::string& mangledName) {
    return reinterpret_cast<Signature*>(symbol(mangledName));
  }

  // The add-in's global objects.
  template <class T>
  T& global(const std::string& name) {
    return *static_cast<T*>(symbol(name));
  }
  // Whether the handle `app`, `ui` or `palette` holds an object.
  bool holds(const std::string& handle) { return global<void*>(handle) != nullptr; }
  std::int32_t& countOpenPalette() { return global<std::int32_t>("countOpenPalette"); }

  TemporaryFolder folder;
  std::string infoFile;
  std::unique_ptr<substitute::Host> host;
  std::unique_ptr<substitute::OpenRecorder> recorder;
  std::unique_ptr<substitute::HostMonitor> monitor;
  std::unique_ptr<substitute::AddIn> addin;

 private:
  // How the C++ library's strings are spelled in the name of a function.
#ifdef _LIBCPP_VERSION
  const std::string returnsText = "v";
#else
  const std::string returnsText = "B5cxx11v";
#endif
  const std::string narrowText = typeid(std::string).name();
  const std::string wideText = typeid(std::wstring).name();

  void uninstall();
  void* symbol(const std::string& name);

  std::vector<substitute::Json> trace_;
  substitute::Signal<substitute::Json>::Subscription subscription_;
};
