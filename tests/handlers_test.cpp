// The add-in's global objects from load to unload, and its handlers' virtual operations in the
// host's order. Here the host's base class of all handlers is one that counts.
#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "tests/CountingHost.h"

namespace core = adsk::core;

#ifdef _LIBCPP_VERSION
// libc++abi has these classes of type information, and no header of its declares them.
namespace __cxxabiv1 {
class __class_type_info : public std::type_info {
 public:
  ~__class_type_info() override;
};
class __si_class_type_info : public __class_type_info {
 public:
  ~__si_class_type_info() override;
  const __class_type_info* __base_type;
};
}  // namespace __cxxabiv1
#endif

namespace {

const std::vector<std::string> exportedHandlers = {"_onHTMLEvent", "_onHTMLEventFirst3",
                                                   "_cmdExecute",  "_cmdEshopExecute",
                                                   "_cmdCreated",  "_cmdEshopCreated"};

class Handlers : public testing::Test {
 protected:
  Handlers() {
    made().clear();
    ended().clear();
    const char* const other = std::getenv("VELORIN_ADDIN");
    library = dlopen(other != nullptr ? other : VELORIN_BUILT_ADDIN, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(dlerror());
  }
  ~Handlers() override { unload(); }

  void unload() {
    if (library != nullptr) dlclose(library);
    library = nullptr;
  }

  // The handlers by name; the one that the library does not show is the last that it made.
  std::vector<std::pair<std::string, const core::EventHandler*>> all() const {
    std::vector<std::pair<std::string, const core::EventHandler*>> handlers;
    for (const std::string& name : exportedHandlers) {
      handlers.emplace_back(name,
                            static_cast<const core::EventHandler*>(dlsym(library, name.c_str())));
    }
    handlers.emplace_back("onlineStatusChangedHandler_",
                          static_cast<const core::EventHandler*>(made().back()));
    return handlers;
  }

  static std::string demangled(const char* name) {
    int status = 0;
    char* const text = abi::__cxa_demangle(name, nullptr, nullptr, &status);
    std::string result = status == 0 ? text : name;
    std::free(text);
    return result;
  }

  void* library = nullptr;
};

// An object that a handle of the add-in's holds; its release counts as its end.
class RecordingObject final : public core::Base {
 public:
  void addref() const override {}
  void release() const override { ended().push_back(this); }
  void* queryInterface(const char* /*id*/) const override { return nullptr; }
  bool isValid_raw() const override { return true; }
};

}  // namespace

// That the base's code is here a second time is what this program is for.
extern "C" const char* __asan_default_options() {
  return "detect_odr_violation=0";
}

TEST_F(Handlers, AreMadeInTheirOrderAndEndInTheReverse) {
  std::vector<const void*> expected;
  for (const std::string& name : exportedHandlers) {
    expected.push_back(dlsym(library, name.c_str()));
  }
  ASSERT_EQ(made().size(), 7U);
  EXPECT_EQ(std::vector<const void*>(made().begin(), made().end() - 1), expected);
  EXPECT_TRUE(ended().empty());
  const auto order = made();
  unload();
  EXPECT_EQ(made().size(), 7U);
  EXPECT_EQ(ended(), std::vector<const void*>(order.rbegin(), order.rend()));
}

TEST_F(Handlers, EndBeforeTheHandlesDoInTheReverseOrder) {
  const RecordingObject application;
  const RecordingObject userInterface;
  const RecordingObject palette;
  // A handle is a pointer, and uses no more of the object than this base.
  for (const auto& [name, object] :
       {std::pair("app", &application), std::pair("ui", &userInterface),
        std::pair("palette", &palette)}) {
    const core::Base* const held = object;
    void* const handle = dlsym(library, name);
    ASSERT_NE(handle, nullptr) << name;
    std::memcpy(handle, static_cast<const void*>(&held), sizeof(void*));
  }
  std::vector<const void*> expected(made().rbegin(), made().rend());
  expected.insert(expected.end(), {&palette, &userInterface, &application});
  EXPECT_TRUE(ended().empty());
  unload();
  EXPECT_EQ(ended(), expected);
}

TEST_F(Handlers, DeriveFromTheHostsBaseOfTheirKindAlone) {
  const std::map<std::string, std::pair<std::string, std::string>> expected = {
      {"_onHTMLEvent", {"RovaHTMLEventHandler", "HTMLEventHandler"}},
      {"_onHTMLEventFirst3", {"CadFirst3sHTMLEventHandler", "HTMLEventHandler"}},
      {"_cmdExecute", {"CmdExecuteEventHandler", "CommandEventHandler"}},
      {"_cmdEshopExecute", {"CmdEshopExecuteEventHandler", "CommandEventHandler"}},
      {"_cmdCreated", {"CmdCreatedEventHandler", "CommandCreatedEventHandler"}},
      {"_cmdEshopCreated", {"CmdEshopCreatedEventHandler", "CommandCreatedEventHandler"}},
      {"onlineStatusChangedHandler_", {"OnlineStatusChangedHandler", "ApplicationEventHandler"}},
  };
  for (const auto& [name, handler] : all()) {
    const auto* const type =
        dynamic_cast<const __cxxabiv1::__si_class_type_info*>(&typeid(*handler));
    ASSERT_NE(type, nullptr) << name;
    EXPECT_EQ(demangled(type->name()), expected.at(name).first);
    EXPECT_EQ(demangled(type->__base_type->name()), "adsk::core::" + expected.at(name).second);
    const auto* const base =
        dynamic_cast<const __cxxabiv1::__si_class_type_info*>(type->__base_type);
    ASSERT_NE(base, nullptr) << name;
    EXPECT_EQ(demangled(base->__base_type->name()), "adsk::core::EventHandler");
  }
}

TEST_F(Handlers, HaveTheirVirtualOperationsInTheHostsOrder) {
  Dl_info ours{};
  ASSERT_NE(dladdr(dlsym(library, "run"), &ours), 0);
  for (const auto& [name, handler] : all()) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(handler), sizeof table);
    // Two of the destructor and notify, which are the class's own.
    for (const int slot : {0, 1, 18}) {
      Dl_info found{};
      ASSERT_NE(dladdr(table[slot], &found), 0) << name;
      EXPECT_STREQ(found.dli_fname, ours.dli_fname) << name << " slot " << slot;
    }
    for (int reserved = 0; reserved < 16; ++reserved) {
      Dl_info found{};
      ASSERT_NE(dladdr(table[2 + reserved], &found), 0) << name;
      ASSERT_NE(found.dli_sname, nullptr) << name;
      EXPECT_EQ(demangled(found.dli_sname), "adsk::core::EventHandler::placeholderEventHandler" +
                                                std::to_string(reserved) + "()");
    }
  }
}
