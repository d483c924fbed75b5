// The add-in's global objects from load to unload. Here the host's base class of all handlers is
// one that counts.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/CountingHost.h"

namespace core = adsk::core;

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

// libc++ on Linux tells types apart by their addresses, and the add-in keeps its own copies to
// itself.
#if defined(__APPLE__) || defined(__GLIBCXX__)
template <class Handler>
bool isA(const core::EventHandler* handler) {
  const auto* const cast = dynamic_cast<const Handler*>(handler);
  return cast != nullptr && dynamic_cast<const core::EventHandler*>(cast) == handler;
}

// A host may keep them by their base.
TEST_F(Handlers, CanBeCastFromTheirBaseToTheirOwnClassAndBack) {
  using Cast = bool (*)(const core::EventHandler*);
  const Cast page = isA<core::HTMLEventHandler>;
  const Cast command = isA<core::CommandEventHandler>;
  const Cast created = isA<core::CommandCreatedEventHandler>;
  const Cast online = isA<core::ApplicationEventHandler>;
  const std::vector<Cast> own = {page, page, command, command, created, created, online};
  ASSERT_EQ(made().size(), own.size());
  for (std::size_t i = 0; i < own.size(); ++i) {
    for (const Cast cast : {page, command, created, online}) {
      EXPECT_EQ(cast(static_cast<const core::EventHandler*>(made()[i])), cast == own[i]) << i;
    }
  }
}
#endif
